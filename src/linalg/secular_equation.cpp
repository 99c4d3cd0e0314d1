// The roots of the secular equation of a diagonal matrix plus a rank-one update.
//
// Each step models f by two poles, the ones on either side of the root (for the last root the
// two highest), with weights that match the value and slope of the sums over the poles on each
// side, and takes the root of that model, a quadratic. The step is kept inside the bracket that
// the signs of f have narrowed so far; a step that would leave it, or go against the sign of f,
// is replaced by a Newton step or by bisection, so the iteration always converges.

#include <cmath>

#include "linalg/dc_detail.hpp"

namespace tbrelax::dc_detail {
namespace {

constexpr int max_iterations = 300;  // enough for bisection alone to reach the last bit

}  // namespace

secular_root solve_secular_root(int k, const double* d, const double* w, double rho, int j) {
  const double rho_inverse = 1.0 / rho;
  if (k == 1) return {0, rho * w[0] * w[0]};
  const bool last = j == k - 1;
  // The poles of the model: psi sums the terms up to `split`, phi those above.
  const int split = last ? k - 2 : j;
  int origin = j;
  double lo = 0.0, hi = 0.0;
  if (last) {
    double norm = 0.0;
    for (int i = 0; i < k; ++i) norm += w[i] * w[i];
    hi = rho * norm;
  } else {
    // The sign of f half-way between the poles tells which pole is nearer.
    const double half_gap = (d[j + 1] - d[j]) / 2;
    double f = rho_inverse;
    for (int i = 0; i < k; ++i) f += w[i] * w[i] / ((d[i] - d[j]) - half_gap);
    if (f >= 0) {
      hi = half_gap;
    } else {
      origin = j + 1;
      lo = -half_gap;
    }
  }
  double tau = lo + (hi - lo) / 2;
  for (int iteration = 0; iteration < max_iterations; ++iteration) {
    double psi = 0.0, phi = 0.0, dpsi = 0.0, dphi = 0.0;
    for (int i = 0; i < k; ++i) {
      const double t = w[i] / ((d[i] - d[origin]) - tau);
      if (i <= split) {
        psi += w[i] * t;
        dpsi += t * t;
      } else {
        phi += w[i] * t;
        dphi += t * t;
      }
    }
    const double f = rho_inverse + psi + phi;
    if (f == 0) break;
    if (f < 0)
      lo = tau;
    else
      hi = tau;
    // The rounding error of f, from the size of its terms.
    const double bound = unit_roundoff * (8 * (phi - psi) + 2 * rho_inverse + std::abs(tau) * (dpsi + dphi));
    if (std::abs(f) <= bound) break;

    const double da = (d[split] - d[origin]) - tau, db = (d[split + 1] - d[origin]) - tau;
    const double c = f - da * dpsi - db * dphi;
    const double a = (da + db) * f - da * db * (dpsi + dphi);
    const double b = da * db * f;
    const double root = std::sqrt(std::abs(a * a - 4 * b * c));
    double eta;
    if (last)
      eta = a >= 0 ? (a + root) / (2 * c) : 2 * b / (a - root);
    else if (c == 0)
      eta = b / a;
    else
      eta = a <= 0 ? (a - root) / (2 * c) : 2 * b / (a + root);
    if (!std::isfinite(eta) || f * eta >= 0) eta = -f / (dpsi + dphi);
    double next = tau + eta;
    if (!(next > lo && next < hi)) next = lo + (hi - lo) / 2;
    if (next == tau) break;
    tau = next;
  }
  return {origin, tau};
}

}  // namespace tbrelax::dc_detail
