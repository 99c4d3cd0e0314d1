#pragma once
// A relaxed scan: internal coordinates stepped together along a line of set values, each point
// relaxed with the coordinates held exactly and starting from the point before.

#include <cstdint>
#include <functional>
#include <vector>

#include "optimize/held_coordinates.hpp"
#include "optimize/minimise.hpp"

namespace tbrelax {

struct scanned_coordinate {
  internal_coordinate q;
  double from = 0, to = 0;  // angstrom or radian
};

struct scan_settings {
  std::vector<scanned_coordinate> coordinates;  // stepped together (a concerted scan)
  int steps = 1;                                // points = steps + 1, from and to included
  stop_criteria stop;                           // of each point's relaxation
};

struct scan_point {
  search_point relaxed;               // force: the residual, tangential one
  std::vector<double> values;         // the held values (angstrom, radian)
  std::vector<double> constraint_forces;  // dE/dq of each coordinate (eV/angstrom, eV/radian)
  int steps = 0;
  std::int64_t evaluations = 0;
  bool converged = true;
};

// The value of coordinate `c` at point k of the scan.
double scan_value(const scan_settings& s, std::size_t c, int k);

// Runs the scan from `start` over the objective (the molecule, unconstrained); `point_done`
// sees each point as it is finished. Throws numerical_error when a coordinate becomes
// undefined or cannot be reached.
std::vector<scan_point> relaxed_scan(objective& f, std::vector<double> start, const scan_settings& s,
                                     const std::function<void(const scan_point&, int k)>& point_done = {});

}  // namespace tbrelax
