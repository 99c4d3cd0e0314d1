#pragma once
// The periodic side of tbcalc energy and relax: --kpoints, --kpoint-shift and
// --electronic-temperature as typed, and the settings they give for one file.

#include <array>
#include <optional>
#include <string>

#include "io/extxyz.hpp"
#include "state/common_var.hpp"
#include "state/param.hpp"
#include "tb/periodic_evaluation.hpp"

namespace tbrelax::tbcalc {

struct periodic_request {
  std::optional<std::array<int, 3>> grid;      // --kpoints n1,n2,n3
  std::optional<std::array<double, 3>> shift;  // --kpoint-shift s1,s2,s3
  std::optional<double> temperature;           // --electronic-temperature T (K)
};

// Default electronic temperature of a periodic structure (K); a molecule's is 0.
inline constexpr double default_periodic_temperature = 300;

// "n1,n2,n3": three whole numbers of at least 1.
std::string parse_grid(const std::string& text, std::array<int, 3>& grid);
// "s1,s2,s3": three finite numbers.
std::string parse_shift(const std::string& text, std::array<double, 3>& shift);
// A finite temperature of at least 0 K.
std::string parse_temperature(const std::string& text, double& T);

// How one file is evaluated.
struct periodic_setup {
  periodic_settings settings;
  std::array<int, 3> grid{1, 1, 1};
  std::array<double, 3> shift{0, 0, 0};
  bool periodic = false;  // false: a molecule at an electronic temperature
};

// Nothing for a molecule with no temperature above 0 (the molecular evaluation, unchanged);
// else the cell (none for a molecule), the grid (the requested one or the default of the
// cell) and the temperature (the requested one or the default). Throws usage_fault for a grid
// the cell cannot take, input_rejected for a cell too small for the lattice sums, and
// out_of_memory, before the k-points are listed, for a grid whose storage would not fit.
std::optional<periodic_setup> periodic_setup_for(const extxyz_comment& comment, const periodic_request& r,
                                                 const common_var& c, const param& par);

// "15 x 15 x 1" and, with a shift, " shifted by 0.5 0.5 0".
std::string grid_text(const periodic_setup& s);

}  // namespace tbrelax::tbcalc
