#pragma once
// A model of the Cartesian Hessian of a molecule from its geometry alone, in the manner of
// Lindh's model Hessian: a stretch for every pair of atoms, a bend for every triple and a torsion
// for every chain of four, each with a force constant that decays with the distances beyond the
// covalent ones. It costs no evaluation and knows which motions are soft (torsions, bends)
// and which stiff (bonds): a curvature check uses it to pick its start and to precondition.

#include <array>
#include <vector>

namespace tbrelax {

// The atoms' positions (angstrom) and periods (1 for H, 2 for C, N, O). Returns the 3N x 3N
// matrix (eV/angstrom^2), row-major, symmetric, positive semi-definite.
std::vector<double> model_hessian(const std::vector<std::array<double, 3>>& r, const std::vector<int>& period);

}  // namespace tbrelax
