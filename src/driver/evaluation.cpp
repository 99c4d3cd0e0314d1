#include "driver/evaluation.hpp"

#include <cmath>

#include "linalg/electronic_solver.hpp"
#include "state/errors.hpp"

namespace tbrelax {
namespace {

bool all_finite(const std::vector<double>& v) {
  for (double q : v)
    if (!std::isfinite(q)) return false;
  return true;
}

}  // namespace

double evaluate_finite(common_var& c, const energy_model& model, evaluation_details* details) {
  const double E = force(c, model, details);
  if (!std::isfinite(E) || !all_finite(c.fx) || !all_finite(c.fy) || !all_finite(c.fz))
    throw numerical_error("the energy or a force is not a finite number");
  return E;
}

frontier_orbitals find_frontier_orbitals(int electrons, int orbitals) {
  frontier_orbitals f;
  f.homo = occupied_count(electrons) - 1;
  if (f.homo + 1 < orbitals) f.lumo = f.homo + 1;
  return f;
}

largest_force find_largest_force(const common_var& c) {
  largest_force best;
  for (int a = 0; a < c.at_count; ++a) {
    const double m = std::sqrt(c.fx[a] * c.fx[a] + c.fy[a] * c.fy[a] + c.fz[a] * c.fz[a]);
    if (a == 0 || m > best.magnitude) best = {a, m};
  }
  return best;
}

}  // namespace tbrelax
