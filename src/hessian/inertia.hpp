#pragma once
// The centre of mass and the principal moments and axes of inertia of a molecule, with the
// model's masses (amass).

#include <array>

#include "state/common_var.hpp"

namespace tbrelax {

struct principal_axes {
  double total_mass = 0;           // amu
  std::array<double, 3> centre{};  // centre of mass (angstrom)
  std::array<double, 3> moments{};  // principal moments, ascending (amu angstrom^2)
  std::array<double, 9> axes{};    // column k (entries 3k..3k+2): the unit axis of moments[k]
};

// Throws numerical_error when the 3 x 3 eigenproblem does not converge.
principal_axes inertia_of(const common_var& c);

}  // namespace tbrelax
