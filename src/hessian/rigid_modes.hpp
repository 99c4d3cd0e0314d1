#pragma once
// The motions of a molecule that do not deform it: three translations and, about the centre
// of mass, three rotations (two for a linear molecule, none for a single atom).

#include <vector>

#include "state/common_var.hpp"

namespace tbrelax {

// A principal moment of inertia at most this fraction of the largest counts as zero: the
// molecule is linear (bent by less than about 1e-4 rad).
inline constexpr double linear_inertia_ratio = 1e-8;

struct rigid_basis {
  // Orthonormal columns in mass-weighted Cartesian coordinates (sqrt(m) times a displacement),
  // nat3 entries each: x, y, z translations first, then rotations about the principal axes.
  std::vector<std::vector<double>> vectors;
  bool linear = false;  // exactly two rotations
};

// From the positions and the masses (amass) of the state.
rigid_basis rigid_modes(const common_var& c);

}  // namespace tbrelax
