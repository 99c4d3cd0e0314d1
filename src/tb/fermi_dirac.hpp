#pragma once
// Occupation of the bands of several k-points by Fermi-Dirac statistics at an electronic
// temperature, and its limit T -> 0.

#include <vector>

namespace tbrelax {

// Levels closer than this (eV) to the lowest level of their group count as one degenerate
// level at T = 0: far above the rounding of computed eigenvalues (1e-12 eV and below for the
// model's matrices), far below any splitting that carries physics.
inline constexpr double degenerate_level_tolerance = 1e-8;

struct band_occupations {
  double fermi_level = 0;              // mu (eV)
  std::vector<std::vector<double>> f;  // per k, per band: 0..2
  double band_energy = 0;              // sum_k w_k sum_n f eps (eV)
  double entropy = 0;                  // S_el (eV/K)
  bool degenerate_edge = false;        // see occupy_bands
};

// eps[k] holds the levels of k-point k in ascending order (every k the same count), weights[k]
// its weight (the weights sum to 1); `electrons` from 0 to twice the level count.
// T > 0: f = 2 / (1 + exp((eps - mu) / k_B T)) with mu such that sum_k w_k sum_n f = electrons,
// found by bisection down to neighbouring doubles. The count is taken relative to the T = 0
// occupation, so that the exponentially small tails of an insulator keep their full precision
// and mu lands where they balance; where even they underflow (a gap of more than ~1400 k_B T),
// mu is the middle of the gap.
// T = 0: the limit T -> 0. Levels below the Fermi edge hold 2, those above 0, and the levels of
// the edge (within degenerate_level_tolerance, at any k) share the electrons left equally;
// `degenerate_edge` is set when that share is partial and the edge holds more than one level:
// the energy then has a kink, and the forces of any one choice of vectors are not its gradient.
// mu is the edge level, or the middle of the gap when the edge is exactly filled (the highest
// level when every level is full, the lowest when there are no electrons).
// S_el = -2 k_B sum_k w_k sum_n [g ln g + (1 - g) ln(1 - g)], g = f / 2, 0 ln 0 = 0.
// Throws std::invalid_argument for a negative or non-finite temperature, or an electron count
// the levels cannot hold.
band_occupations occupy_bands(const std::vector<std::vector<double>>& eps, const std::vector<double>& weights,
                              int electrons, double temperature_K);

}  // namespace tbrelax
