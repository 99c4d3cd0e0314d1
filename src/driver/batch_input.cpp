#include "driver/batch_input.hpp"

#include <ostream>
#include <sstream>

#include "io/read_coord.hpp"
#include "params/read_param.hpp"
#include "state/coincident_atoms.hpp"
#include "state/errors.hpp"

namespace tbrelax {
namespace {

// The reader's screen lines before the first line that starts with `stop` (all of them when
// none does): its warnings come first, then either its report or its error lines.
void forward_until(const std::string& screen, const std::string& stop, std::ostream& warnings) {
  std::istringstream lines(screen);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(stop)) break;
    warnings << line << '\n';
  }
  warnings.flush();
}

}  // namespace

void read_structure(common_var& c, param& par, drive& drv, const std::string& path, std::ostream& warnings,
                    bool whole_symbols) {
  read_param(par, drv, c);
  std::ostringstream screen;
  std::istringstream no_keyboard;
  console quiet(screen, no_keyboard, /*pauses=*/false);
  try {
    read_coord(c, quiet, structure_source{path, /*create_if_missing=*/false, whole_symbols});
  } catch (const tb_error&) {
    forward_until(screen.str(), " ERROR:", warnings);
    throw;
  }
  forward_until(screen.str(), " Coordinates have read successfully", warnings);

  if (c.at_count == 0) throw input_rejected("the file holds no atoms", in_file(path));
  if (auto pair = find_coincident_atoms(c))
    throw input_rejected("atoms " + std::to_string(pair->first + 1) + " and " + std::to_string(pair->second + 1) +
                             " are at the same position",
                         in_file(path));
}

}  // namespace tbrelax
