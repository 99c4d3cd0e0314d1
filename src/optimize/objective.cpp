#include "optimize/objective.hpp"

#include <cmath>

namespace tbrelax {

curvature_space objective::curvature_space_at(const search_point& at) {
  return {std::vector<double>(at.x.size(), 1.0), std::vector<bool>(at.x.size(), false), {}, {}};
}

std::vector<double> objective::preconditioner_at(const search_point&) { return {}; }

double dot(std::span<const double> a, std::span<const double> b) {
  double s = 0;
  for (std::size_t k = 0; k < a.size(); ++k) s += a[k] * b[k];
  return s;
}

double largest_atom_norm(std::span<const double> v) {
  double largest = 0;
  for (std::size_t k = 0; k + 2 < v.size(); k += 3)
    largest = std::max(largest, std::sqrt(v[k] * v[k] + v[k + 1] * v[k + 1] + v[k + 2] * v[k + 2]));
  return largest;
}

bool all_finite(std::span<const double> v) {
  for (double q : v)
    if (!std::isfinite(q)) return false;
  return true;
}

}  // namespace tbrelax
