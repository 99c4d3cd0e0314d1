#pragma once
// Structures as extended XYZ, the multi-frame format that ASE, OVITO, VMD and Jmol read: the
// atom count, a comment line of key=value pairs, one "symbol x y z" line per atom (angstrom).
// The coordinates are written in the shortest decimal form that reads back as the same
// double (1.5, 0.117, -1.05e-06), so a written structure evaluates to exactly the energy recorded with it.

#include <fstream>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "state/common_var.hpp"
#include "state/periodic_cell.hpp"

namespace tbrelax {

// Key=value pairs of a comment line, in order; each value is written as given.
using xyz_info = std::vector<std::pair<std::string, std::string>>;

// A real number with 17 significant digits, the form the comment line and JSON use.
std::string full_precision(double v);
// The title of the state (blank padding dropped) as a quoted value, "" when it is blank.
std::string quoted_title(const common_var& c);

// One frame: "Properties=species:S:1:pos:R:3" and the pairs on its comment line. Given a cell,
// the line starts with its Lattice and ends with its pbc flags, as ASE writes them.
std::string xyz_frame(const common_var& c, const xyz_info& info,
                      const std::optional<periodic_cell>& cell = std::nullopt);

// A file of frames written as they come, each flushed at once so that a viewer can follow a
// running relaxation. Failures are io_error naming the file.
class xyz_trajectory {
 public:
  explicit xyz_trajectory(std::string path);  // creates or empties the file
  void append(const std::string& frame);
  const std::string& path() const { return path_; }

 private:
  std::string path_;
  std::ofstream out_;
};

}  // namespace tbrelax
