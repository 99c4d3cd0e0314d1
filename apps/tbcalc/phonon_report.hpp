#pragma once
// tbcalc freq of a periodic structure: phonons at Gamma of the given cell and the harmonic
// vibrational thermochemistry per cell.

#include <iosfwd>
#include <string>

#include "common.hpp"
#include "periodic_options.hpp"

namespace tbrelax::tbcalc {

// The structure is read into calc; the report goes to `text` or `json`.
void phonon_file(calculation& calc, const std::string& path, const options& o, const periodic_setup& setup,
                 std::ostream& text, json_writer& json);

}  // namespace tbrelax::tbcalc
