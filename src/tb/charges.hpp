#pragma once
// Mulliken charges and the dipole moment of an evaluation: the valence charge of each atom
// minus the electrons the density matrix gives its basis functions, q_A = Z_A - sum over mu on
// A of (P S)_mu,mu, and the dipole of those point charges.

#include <array>
#include <vector>

#include "state/common_var.hpp"
#include "tb/force.hpp"

namespace tbrelax {

// Debye per e angstrom: 1.602176634e-29 C m over 1e-21 / c C m.
inline constexpr double debye_per_e_angstrom = 4.803204712570263;

// From the S and P the evaluation left in the workspace (force() at the current coordinates).
// The charges sum to zero up to rounding when S is positive definite: the trace of P S is then
// the electron count.
std::vector<double> mulliken_charges(const common_var& c, const evaluation_workspace& w);

// sum q_A r_A (e angstrom) at the current coordinates. For a neutral molecule, as every one of
// the model is, it does not depend on the origin.
std::array<double, 3> dipole_moment(const common_var& c, const std::vector<double>& charges);

}  // namespace tbrelax
