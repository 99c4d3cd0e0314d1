#pragma once
// The Cartesian Hessian of the total energy at the current geometry: the electronic part by
// central differences of the electronic forces, the repulsive part analytically.

#include "state/common_var.hpp"
#include "tb/force.hpp"

namespace tbrelax {

// Displacement of the central differences (angstrom).
inline constexpr double hessian_displacement = 1e-4;

struct separation {
  double dx, dy, dz, r;
};

// From atom i to atom j (counted from 0): the plain separation, or with indper != 0 the
// shortest of it and its 26 neighbouring periodic images (ties keep the earlier candidate).
separation dxdydz(int i, int j, const common_var& c);

// Fills hesel (row: displaced coordinate k = 3a + axis, column: force component), hesrep and
// their symmetrised sum hess, each nat3 x nat3 column-major in eV/angstrom^2, allocating them
// on first use. Calls force 6 at_count times; afterwards the force arrays belong to the last
// displaced geometry, the coordinates are back up to rounding, x0, y0, z0 hold the start.
// With `dipole_derivatives`, the same displaced evaluations also give d mu / d q_k of the
// Mulliken dipole (e angstrom per angstrom): 3 x nat3, column-major, component fastest.
void hess_cre(common_var& c, const energy_model& model, std::vector<double>* dipole_derivatives = nullptr);

}  // namespace tbrelax
