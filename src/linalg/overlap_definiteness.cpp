#include "linalg/overlap_definiteness.hpp"

#include <algorithm>
#include <cmath>

namespace tbrelax {
namespace {

constexpr int max_probes = 5;

double norm1(const std::vector<double>& x) {
  double s = 0.0;
  for (double v : x) s += std::abs(v);
  return s;
}

std::vector<double> signs(const std::vector<double>& x) {
  std::vector<double> s(x.size());
  for (std::size_t i = 0; i < x.size(); ++i) s[i] = x[i] >= 0 ? 1.0 : -1.0;
  return s;
}

int largest_entry(const std::vector<double>& x) {
  int j = 0;
  for (int i = 1; i < int(x.size()); ++i)
    if (std::abs(x[i]) > std::abs(x[j])) j = i;
  return j;
}

}  // namespace

double estimate_symmetric_norm1(int n, const overlap_solve& apply) {
  if (n <= 0) return 0.0;
  std::vector<double> x(n, 1.0 / n);
  apply(x);
  if (n == 1) return std::abs(x[0]);
  double estimate = norm1(x);
  std::vector<double> sign = signs(x);
  x = sign;
  apply(x);  // the gradient of the 1-norm at the probe, since A = A^T
  int j = largest_entry(x);
  for (int probe = 1; probe < max_probes; ++probe) {
    std::fill(x.begin(), x.end(), 0.0);
    x[j] = 1.0;
    apply(x);  // column j of A
    const double previous = estimate;
    estimate = std::max(estimate, norm1(x));
    std::vector<double> next_sign = signs(x);
    if (next_sign == sign || norm1(x) <= previous) break;
    sign = std::move(next_sign);
    x = sign;
    apply(x);
    const int previous_j = j;
    j = largest_entry(x);
    if (std::abs(x[previous_j]) == std::abs(x[j])) break;
  }
  // An alternating probe of growing size.
  for (int i = 0; i < n; ++i) x[i] = (i % 2 ? -1.0 : 1.0) * (1.0 + double(i) / (n - 1));
  apply(x);
  return std::max(estimate, 2 * norm1(x) / (3.0 * n));
}

overlap_factor_check check_overlap_factor(const matrix& S, std::span<const double> pivots, const overlap_solve& solve) {
  overlap_factor_check r;
  const int n = S.rows();
  double norm = 0.0;
#pragma omp parallel for reduction(max : norm) if (n > 512)
  for (int j = 0; j < n; ++j) {
    double s = 0.0;
    const double* col = S.col(j);
    for (int i = 0; i < n; ++i) s += std::abs(col[i]);
    norm = std::max(norm, s);
  }
  r.norm = norm;
  r.smallest_pivot = pivots.empty() ? 0.0 : *std::min_element(pivots.begin(), pivots.end());
  const double least = least_trusted_overlap_eigenvalue * norm;
  // Written so that a NaN anywhere fails the test.
  if (!(r.smallest_pivot >= least) || int(pivots.size()) != n) return r;
  r.inverse_norm = estimate_symmetric_norm1(n, solve);
  r.trusted = r.inverse_norm * least <= 1.0;
  return r;
}

}  // namespace tbrelax
