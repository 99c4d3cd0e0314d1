#pragma once
// A first-order saddle point by partitioned rational-function optimisation (P-RFO): on a
// Hessian computed once by finite differences of the forces and then kept current by Bofill's
// update, each step goes uphill along one mode and downhill along all others, within a trust
// radius that follows how well the quadratic model predicted the last step. The mode followed
// is the lowest at the start and afterwards the one most like the mode followed before, so the
// search stays on one reaction coordinate when the eigenvalues cross.

#include <cstdint>
#include <vector>

#include "optimize/objective.hpp"

namespace tbrelax {

struct saddle_settings {
  double fmax = 0.001;     // eV/angstrom: converged below this largest force on an atom...
  int max_steps = 100;     // ...with exactly one negative curvature in the model Hessian
  double trust = 0.1;      // angstrom: the first largest move of an atom
  double max_trust = 0.3;  // angstrom
};

struct saddle_result {
  search_point end;
  int steps = 0;
  std::int64_t evaluations = 0;          // all, the finite-difference Hessian's included
  std::int64_t hessian_evaluations = 0;  // the finite-difference Hessian's
  bool converged = false;
  int negative_curvatures = 0;      // of the updated Hessian at the end (rigid motions left out)
  std::vector<double> mode;         // the Cartesian mode followed at the end, unit length
};

// Central differences of the forces, 2 evaluations per coordinate, symmetrised: the n x n
// Hessian (column-major, eV/angstrom^2) at x.
std::vector<double> finite_difference_hessian(objective& f, const std::vector<double>& x, double step = 1e-4);

// An orthonormal Cartesian basis of the motions that change the function at `at`: the
// complement of the objective's rigid motions (translations and rotations of a free molecule).
std::vector<std::vector<double>> internal_basis(objective& f, const search_point& at);

// P-RFO from `start`; the Hessian at the start is computed by finite_difference_hessian.
saddle_result find_saddle(objective& f, std::vector<double> start, const saddle_settings& s = {});

}  // namespace tbrelax
