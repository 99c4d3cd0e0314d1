#pragma once
// The lowest curvature of an objective at a point from Hessian-vector products: a Davidson
// iteration, preconditioned by the objective's model Hessian where it has one (the Krylov
// space of Lanczos otherwise), with every product kept and the projected matrix rebuilt each
// step, which keeps it stable when the products carry noise. It stops as soon as the sign of
// the lowest curvature against a threshold is settled.

#include <vector>

#include "optimize/hessian_vector.hpp"

namespace tbrelax {

struct curvature_estimate {
  // The lowest Ritz value (eV / (angstrom^2 amu)), an upper bound of the lowest curvature up to
  // the products' error; not a number when the space holds no free direction.
  double curvature = 0;
  std::vector<double> mode;  // its mass-weighted unit vector (empty with no free direction)
  int products = 0;          // Hessian-vector products, one evaluation each
  bool settled = false;      // the lowest curvature is known to lie below or above the threshold
};

// Starts from the model's softest mode and `guesses` (mass-weighted; the projected, independent
// ones are kept, turned towards the model's soft modes) and adds the corrected residual of the
// lowest Ritz pair until the Ritz value drops below
// `threshold` (a negative curvature: settled), the lower bound from the residual and the gap
// to the next Ritz value lies above it (settled), the space is exhausted (settled) or
// `max_products` products are spent (not settled).
curvature_estimate lowest_curvature(hessian_vector_product& hv, const std::vector<std::vector<double>>& guesses,
                                    double threshold, int max_products);

}  // namespace tbrelax
