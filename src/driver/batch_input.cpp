#include "driver/batch_input.hpp"

#include <algorithm>
#include <fstream>
#include <numeric>
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

// The title as the state holds it: cut or blank-padded to its fixed length.
void set_title(common_var& c, const std::string& title) {
  c.sssss = title.substr(0, title_length);
  c.sssss.resize(title_length, ' ');
}

}  // namespace

extxyz_comment read_structure(common_var& c, param& par, drive& drv, const std::string& path, std::ostream& warnings,
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
  extxyz_comment comment = read_extxyz_comment(path);
  if (comment.extended) set_title(c, comment.title);
  return comment;
}

std::vector<std::size_t> largest_first(const std::vector<std::string>& paths) {
  std::vector<long> atoms(paths.size(), -1);
  for (std::size_t k = 0; k < paths.size(); ++k) {
    std::ifstream file(paths[k]);
    if (long n = 0; file >> n) atoms[k] = n;
  }
  std::vector<std::size_t> order(paths.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return atoms[a] > atoms[b]; });
  return order;
}

}  // namespace tbrelax
