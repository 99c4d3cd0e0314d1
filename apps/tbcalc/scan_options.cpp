#include "scan_options.hpp"

#include <charconv>
#include <cmath>
#include <numbers>
#include <sstream>
#include <vector>

#include "relax_options.hpp"

namespace tbrelax::tbcalc {
namespace {

constexpr double degree = std::numbers::pi / 180;
// Atoms in a line leave an angle's direction undefined: a scanned bond angle keeps this far
// (degrees) from 0 and 180.
constexpr double straight_margin = 1.0;

bool whole_number(const std::string& text, double& value) {
  const char* end = text.data() + text.size();
  const auto [stop, fault] = std::from_chars(text.data(), end, value);
  return !text.empty() && fault == std::errc() && stop == end && std::isfinite(value);
}

}  // namespace

double in_user_unit(coordinate_kind kind, double v) { return kind == coordinate_kind::distance ? v : v / degree; }
const char* user_unit(coordinate_kind kind) { return kind == coordinate_kind::distance ? "Å" : "°"; }

std::string parse_scan_coordinate(coordinate_kind kind, const std::string& text, scan_settings& s) {
  scanned_coordinate c;
  c.q.kind = kind;
  const int n = c.q.atom_count();
  const char* form = kind == coordinate_kind::distance ? "A,B,FROM,TO,STEPS (atoms from 1, angstrom)"
                     : kind == coordinate_kind::angle  ? "A,B,C,FROM,TO,STEPS (atoms from 1, degrees)"
                                                       : "A,B,C,D,FROM,TO,STEPS (atoms from 1, degrees)";
  std::vector<std::string> items;
  std::istringstream in(text);
  for (std::string item; std::getline(in, item, ',');) items.push_back(item);
  const std::string fault = std::string(form) + " is needed, not '" + text + "'";
  if (static_cast<int>(items.size()) != n + 3 || text.back() == ',') return fault;
  for (int k = 0; k < n; ++k) {
    std::vector<int> one;
    if (!parse_atom_list(items[k], one).empty() || one.size() != 1) return fault;
    c.q.atoms[k] = one[0];
    for (int j = 0; j < k; ++j)
      if (c.q.atoms[j] == one[0]) return "atom " + items[k] + " appears twice in '" + text + "'";
  }
  int steps = 0;
  if (!whole_number(items[n], c.from) || !whole_number(items[n + 1], c.to) || !parse_count(items[n + 2], steps).empty())
    return fault;
  if (kind == coordinate_kind::distance && !(c.from > 0 && c.to > 0)) return "a distance must be above 0 Å, in '" + text + "'";
  if (kind == coordinate_kind::angle)
    for (double v : {c.from, c.to})
      if (!(v >= straight_margin && v <= 180 - straight_margin))
        return "a bond angle must stay between 1 and 179 degrees (its atoms in a line leave it undefined), in '" + text + "'";
  if (!s.coordinates.empty() && steps != s.steps)
    return "every coordinate of a concerted scan takes the same number of steps (" + std::to_string(s.steps) + ", not " +
           std::to_string(steps) + ")";
  if (kind != coordinate_kind::distance) {
    c.from *= degree;
    c.to *= degree;
  }
  s.steps = steps;
  s.coordinates.push_back(c);
  return "";
}

std::string scan_atom_fault(const scan_settings& s, int at_count) {
  for (const scanned_coordinate& c : s.coordinates)
    for (int k = 0; k < c.q.atom_count(); ++k)
      if (c.q.atoms[k] >= at_count)
        return "atom " + std::to_string(c.q.atoms[k] + 1) + " of " + c.q.label() + " does not exist (the molecule has " +
               std::to_string(at_count) + (at_count == 1 ? " atom)" : " atoms)");
  return "";
}

}  // namespace tbrelax::tbcalc
