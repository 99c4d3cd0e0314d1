#include "periodic_options.hpp"

#include <cmath>
#include <cstdio>

#include "common.hpp"
#include "io/number_syntax.hpp"
#include "tb/lattice_terms.hpp"
#include "tb/working_storage.hpp"

namespace tbrelax::tbcalc {
namespace {

// Three comma-separated fields, each read by `one`.
template <class T, class Read>
std::string three_fields(const std::string& text, std::array<T, 3>& out, const char* what, Read one) {
  std::size_t start = 0;
  for (int i = 0; i < 3; ++i) {
    const std::size_t comma = text.find(',', start);
    if ((i < 2) != (comma != std::string::npos))
      return std::string("three ") + what + " separated by commas are needed, not '" + text + "'";
    const std::string field = text.substr(start, i < 2 ? comma - start : std::string::npos);
    if (!one(field, out[i])) return std::string("three ") + what + " separated by commas are needed, not '" + text + "'";
    start = comma + 1;
  }
  return "";
}

bool read_number(const std::string& field, double& v) {
  if (field.empty()) return false;
  char* end = nullptr;
  v = std::strtod(field.c_str(), &end);
  return end == field.c_str() + field.size() && std::isfinite(v);
}

}  // namespace

std::string parse_grid(const std::string& text, std::array<int, 3>& grid) {
  return three_fields(text, grid, "whole numbers of at least 1", [](const std::string& f, int& n) {
    if (f.empty() || f.size() > 6 || f.find_first_not_of("0123456789") != std::string::npos) return false;
    n = std::stoi(f);
    return n >= 1;
  });
}

std::string parse_shift(const std::string& text, std::array<double, 3>& shift) {
  return three_fields(text, shift, "finite numbers", read_number);
}

std::string parse_temperature(const std::string& text, double& T) {
  if (!read_number(text, T) || T < 0) return "a finite temperature of at least 0 K is needed, not '" + text + "'";
  return "";
}

std::optional<periodic_setup> periodic_setup_for(const extxyz_comment& comment, const periodic_request& r,
                                                 const common_var& c, const param& par) {
  const int basis = c.wfunc_count;
  const bool periodic = comment.cell && comment.cell->periodic();
  const double T = r.temperature.value_or(periodic ? default_periodic_temperature : 0.0);
  if (!periodic && T == 0 && !r.grid && !r.shift) return std::nullopt;
  periodic_setup s;
  s.periodic = periodic;
  s.settings.cell = periodic ? *comment.cell : periodic_cell{};
  if (periodic) check_lattice_reach(c, s.settings.cell, par);
  s.grid = r.grid.value_or(default_kpoint_grid(s.settings.cell));
  s.shift = r.shift.value_or(std::array<double, 3>{0, 0, 0});
  if (const std::string fault = kpoint_grid_fault(s.settings.cell, s.grid, s.shift); !fault.empty())
    throw usage_fault(fault);
  if (!periodic && T == 0) return std::nullopt;  // a Gamma-only grid on a molecule changes nothing
  // Merging k with -k halves a grid whose shifts are whole or half steps.
  bool halves = true;
  for (double shift : s.shift) halves = halves && std::round(2 * shift) == 2 * shift;
  const std::uint64_t points = std::uint64_t(s.grid[0]) * s.grid[1] * s.grid[2];
  check_memory(periodic_storage_bytes(basis, halves ? (points + 1) / 2 : points),
               "for a " + std::to_string(s.grid[0]) + " x " + std::to_string(s.grid[1]) + " x " +
                   std::to_string(s.grid[2]) + " k-point grid of " + std::to_string(basis) + " basis functions");
  s.settings.kpoints = kpoint_grid(s.settings.cell, s.grid, s.shift);
  s.settings.electronic_temperature = T;
  return s;
}

std::string grid_text(const periodic_setup& s) {
  std::string text = std::to_string(s.grid[0]) + " x " + std::to_string(s.grid[1]) + " x " + std::to_string(s.grid[2]);
  if (s.shift != std::array<double, 3>{0, 0, 0}) {
    char buffer[96];
    std::snprintf(buffer, sizeof buffer, " shifted by %g %g %g", s.shift[0], s.shift[1], s.shift[2]);
    text += buffer;
  }
  return text;
}

}  // namespace tbrelax::tbcalc
