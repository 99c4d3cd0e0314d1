#pragma once
// Wavevectors at which the Bloch problem is solved: a Gamma-centred grid over the reciprocal
// cell, with k and -k merged where time reversal makes them equal.

#include <array>
#include <vector>

#include "state/periodic_cell.hpp"

namespace tbrelax {

// b_i with a_i . b_j = 2 pi delta_ij (1/angstrom). A non-periodic axis takes an orthonormal
// completion of the periodic vectors in place of its a_i, so its b_i is a unit normal times 2 pi.
std::array<std::array<double, 3>, 3> reciprocal_vectors(const periodic_cell& cell);

struct kpoint {
  std::array<double, 3> k;  // Cartesian, 1/angstrom
  double weight;
};

// Default k-point spacing (1/angstrom, 2 pi included): n_i = ceil(|b_i| / spacing).
inline constexpr double default_kpoint_spacing = 0.3;

// k = sum_i ((m_i + s_i) / n_i) b_i, m_i = 0 .. n_i - 1, weights 1 / (n1 n2 n3); a point whose
// partner -k (modulo the reciprocal lattice) is also on the grid takes both weights.
std::vector<kpoint> kpoint_grid(const periodic_cell& cell, std::array<int, 3> n, std::array<double, 3> shift);

// n_i = max(1, ceil(|b_i| / default_kpoint_spacing)) on periodic axes, 1 on the others.
std::array<int, 3> default_kpoint_grid(const periodic_cell& cell);

// Throws std::invalid_argument with a message for a grid with n_i < 1, or n_i > 1 or a shift on
// a non-periodic axis.
void check_kpoint_grid(const periodic_cell& cell, std::array<int, 3> n, std::array<double, 3> shift);

}  // namespace tbrelax
