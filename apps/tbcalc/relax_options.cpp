#include "relax_options.hpp"

#include <charconv>
#include <cmath>
#include <sstream>

namespace tbrelax::tbcalc {
namespace {

bool whole(const std::string& text, double& value) {
  const char* end = text.data() + text.size();
  const auto [stop, fault] = std::from_chars(text.data(), end, value);
  return !text.empty() && fault == std::errc() && stop == end;
}

bool whole(const std::string& text, int& value) {
  const char* end = text.data() + text.size();
  const auto [stop, fault] = std::from_chars(text.data(), end, value);
  return !text.empty() && fault == std::errc() && stop == end;
}

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> items;
  std::string item;
  std::istringstream in(text);
  while (std::getline(in, item, separator)) items.push_back(item);
  if (text.empty() || text.back() == separator) items.emplace_back();
  return items;
}

}  // namespace

std::string parse_positive(const std::string& text, double& value) {
  if (!whole(text, value) || !std::isfinite(value) || !(value > 0)) return "a number above 0 is needed, not '" + text + "'";
  return "";
}

std::string parse_count(const std::string& text, int& value) {
  if (!whole(text, value) || value < 0) return "a whole number of at least 0 is needed, not '" + text + "'";
  return "";
}

std::string parse_atom_list(const std::string& text, std::vector<int>& atoms) {
  // The bound keeps a mistyped range from filling the memory; no molecule comes near it.
  constexpr int most_atoms = 10'000'000;
  const std::string fault = "atoms counted from 1 are needed, such as 1-4,9, not '" + text + "'";
  for (const std::string& item : split(text, ',')) {
    const auto dash = item.find('-');
    int first = 0, last = 0;
    if (!whole(item.substr(0, dash), first)) return fault;
    if (dash == std::string::npos) last = first;
    else if (!whole(item.substr(dash + 1), last)) return fault;
    if (first < 1 || last < first || last > most_atoms) return fault;
    for (int a = first; a <= last; ++a) atoms.push_back(a - 1);
  }
  return "";
}

std::string parse_pull(const std::string& text, pulling_pair& pair) {
  const std::vector<std::string> items = split(text, ',');
  if (items.size() != 3 || !whole(items[0], pair.a) || !whole(items[1], pair.b) || !whole(items[2], pair.F) ||
      pair.a < 1 || pair.b < 1)
    return "A,B,F is needed (two atoms counted from 1 and a force in eV/Å), not '" + text + "'";
  if (!std::isfinite(pair.F)) return "the pulling force must be a finite number, not '" + items[2] + "'";
  if (pair.a == pair.b) return "a pulling pair needs two different atoms, not " + items[0] + " twice";
  return "";
}

}  // namespace tbrelax::tbcalc
