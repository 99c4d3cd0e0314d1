#pragma once
// A structure file read for a batch tool: the same reader and the same rejections as the
// relaxation program, but nothing waits for a key and every fault names the file.

#include <iosfwd>
#include <string>
#include <vector>

#include "io/extxyz.hpp"
#include "state/common_var.hpp"
#include "state/param.hpp"

namespace tbrelax {

// Sets the model constants, then reads `path` into a fresh state with the structure reader
// (a missing file is an error, never created). The reader's warnings (an inadmissible element
// before the first atom, shown once per reading pass) go to `warnings` as the reader words
// them; its success report is not shown. Throws what the reader throws, and input_rejected,
// naming the file, for no atoms and for two atoms closer than the coincidence distance; the
// reader's own error lines are left out, the fault carries their meaning. `whole_symbols`
// chooses the reader's symbol rule (structure_source).
// An extended-XYZ comment line (extxyz.hpp) is read too: its title replaces the plain rule's
// first field in the state, and it is returned with the cell it gives, if any.
extxyz_comment read_structure(common_var& c, param& par, drive& drv, const std::string& path, std::ostream& warnings,
                    bool whole_symbols = false);

// The order in which a batch of structure files is shared out: the largest molecule (by the
// atom count its first line declares) first, so that no large one is left for the end while
// the other processes run out of work. Equal counts keep their order; a file whose count
// cannot be read goes last (its fault is reported when it is read in earnest).
std::vector<std::size_t> largest_first(const std::vector<std::string>& paths);

}  // namespace tbrelax
