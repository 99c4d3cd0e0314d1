#pragma once
// Sampling of the Brillouin zone of a periodic cell: reciprocal vectors, the Gamma-centred
// (optionally shifted) grid with k and -k merged, and a default grid from a k-point spacing.

#include <array>
#include <string>
#include <vector>

#include "state/periodic_cell.hpp"

namespace tbrelax {

using vector3 = std::array<double, 3>;

// b_i with a_i . b_j = 2 pi delta_ij (1/angstrom). A non-periodic axis takes part through a
// unit vector perpendicular to the periodic ones (the normal of a sheet, an orthonormal pair
// around a chain, the Cartesian axes for no periodic axis at all), so that b_i of a periodic
// axis lies in the periodic subspace and the b_i of the other axes are 2 pi times those units.
std::array<vector3, 3> reciprocal_vectors(const periodic_cell& cell);

struct kpoint {
  vector3 k;           // Cartesian, 1/angstrom
  double weight;       // the weights of a grid sum to 1
  vector3 fraction{};  // k = sum_i fraction[i] b_i; k . (sum n_i a_i) = 2 pi sum fraction[i] n_i
};

// What is wrong with a grid of n[i] points and shift s[i] (in units of the grid step) for this
// cell, or "" when nothing is: every n_i at least 1, n_i = 1 and s_i = 0 on a non-periodic
// axis, finite shifts, at most max_kpoints points.
inline constexpr long max_kpoints = 10'000'000;
std::string kpoint_grid_fault(const periodic_cell& cell, std::array<int, 3> n, std::array<double, 3> shift);

// The points k = sum_i ((m_i + s_i) / n_i) b_i, m_i = 0 .. n_i - 1, in that order (m_1 slowest),
// each of weight 1 / (n_1 n_2 n_3). Where every 2 s_i is a whole number, -k of each point is
// again a grid point up to a reciprocal lattice vector (exactly, in whole numbers): the pair is
// kept once, at its first point, with the weight doubled; a point equal to its own -k keeps its
// weight. Throws std::invalid_argument with the fault's text for a grid that kpoint_grid_fault
// refuses.
std::vector<kpoint> kpoint_grid(const periodic_cell& cell, std::array<int, 3> n, std::array<double, 3> shift = {});

// The k-point spacing of the default grid: 0.2 / angstrom (2 pi included), that is n_i |a_i| of
// at least 31.4 angstrom for an orthogonal cell.
inline constexpr double default_kpoint_spacing = 0.2;
// n_i = max(1, ceil(|b_i| / spacing)) on periodic axes, 1 on the others.
std::array<int, 3> default_kpoint_grid(const periodic_cell& cell, double spacing = default_kpoint_spacing);

}  // namespace tbrelax
