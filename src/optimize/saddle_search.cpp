#include "optimize/saddle_search.hpp"

#include <algorithm>
#include <cmath>

#include "linalg/eigensolver.hpp"
#include "state/errors.hpp"

namespace tbrelax {
namespace {

using columns = std::vector<std::vector<double>>;

// Eigenvalues (ascending) and eigenvectors (columns of a) of the symmetric m x m matrix a.
void diagonalise(int m, std::vector<double>& a, std::vector<double>& values) {
  values.assign(m, 0.0);
  if (m == 0) return;
  std::vector<double> scratch(m);
  int ierr = 0;
  eisrs1(m, m, values.data(), a.data(), ierr, scratch.data());
  if (ierr != 0) throw numerical_error("the eigenproblem of the saddle search did not converge");
}

// Removes from v its parts along the orthonormal columns of basis.
void orthogonalise(std::vector<double>& v, const columns& basis) {
  for (int pass = 0; pass < 2; ++pass)
    for (const auto& b : basis) {
      const double c = dot(b, v);
      for (std::size_t k = 0; k < v.size(); ++k) v[k] -= c * b[k];
    }
}

bool normalised(std::vector<double>& v, double least) {
  const double n = std::sqrt(dot(v, v));
  if (!(n > least)) return false;
  for (double& q : v) q /= n;
  return true;
}

// Bofill's update: Murtagh-Sargent's symmetric rank one and Powell's symmetric Broyden,
// mixed by how well the step lines up with the Hessian's error; unlike BFGS it keeps negative
// curvature where the surface has it.
void bofill_update(std::vector<double>& H, const std::vector<double>& s, const std::vector<double>& y) {
  const std::size_t n = s.size();
  std::vector<double> r = y;  // y - H s
  for (std::size_t j = 0; j < n; ++j)
    for (std::size_t i = 0; i < n; ++i) r[i] -= H[i + j * n] * s[j];
  const double rs = dot(r, s), ss = dot(s, s), rr = dot(r, r);
  if (!(ss > 0) || !(rr > 0)) return;
  const double phi = rs * rs / (rr * ss);
  for (std::size_t j = 0; j < n; ++j)
    for (std::size_t i = 0; i < n; ++i) {
      const double sr1 = std::abs(rs) > 1e-12 * std::sqrt(rr * ss) ? r[i] * r[j] / rs : 0.0;
      const double psb = (r[i] * s[j] + s[i] * r[j]) / ss - rs * s[i] * s[j] / (ss * ss);
      H[i + j * n] += phi * sr1 + (1 - phi) * psb;
    }
}

// The lowest root of lambda = sum_i g_i^2 / (lambda - b_i) below every b_i: the shift of the
// rational-function step that minimises along all the modes it covers.
double minimising_shift(const std::vector<double>& b, const std::vector<double>& g) {
  if (b.empty()) return 0;
  const double top = *std::min_element(b.begin(), b.end());
  auto excess = [&](double lambda) {
    double s = 0;
    for (std::size_t i = 0; i < b.size(); ++i) s += g[i] * g[i] / (lambda - b[i]);
    return lambda - s;  // rises from -infinity to +infinity below `top`
  };
  double span = 1;
  while (excess(top - span) > 0 && span < 1e12) span *= 2;
  double lo = top - span, hi = top;
  for (int k = 0; k < 200 && hi - lo > 1e-14 * std::max(1.0, std::abs(lo)); ++k) {
    const double mid = 0.5 * (lo + hi);
    (excess(mid) > 0 ? hi : lo) = mid;
  }
  return std::min(lo, 0.0);
}

std::vector<double> gradient_of(const search_point& p) {
  std::vector<double> g(p.force.size());
  for (std::size_t k = 0; k < g.size(); ++k) g[k] = -p.force[k];
  return g;
}

// Below this change of the function (eV) a forecast cannot be judged: the model's energies
// carry rounding of about 1e-12 of their size.
constexpr double model_noise = 1e-8;
constexpr double least_trust = 1e-3;  // angstrom

}  // namespace

std::vector<double> finite_difference_hessian(objective& f, const std::vector<double>& x, double step) {
  const std::size_t n = x.size();
  std::vector<double> H(n * n);
  for (std::size_t k = 0; k < n; ++k) {
    std::vector<double> plus = x, minus = x;
    plus[k] += step;
    minus[k] -= step;
    const search_point up = f.evaluate(std::move(plus)), down = f.evaluate(std::move(minus));
    for (std::size_t i = 0; i < n; ++i) H[i + k * n] = (down.force[i] - up.force[i]) / (2 * step);
  }
  for (std::size_t j = 0; j < n; ++j)
    for (std::size_t i = 0; i < j; ++i) H[i + j * n] = H[j + i * n] = 0.5 * (H[i + j * n] + H[j + i * n]);
  return H;
}

columns internal_basis(objective& f, const search_point& at) {
  const curvature_space space = f.curvature_space_at(at);
  const std::size_t n = at.x.size();
  // The rigid motions as plain displacements (the space gives them mass-weighted).
  columns rigid;
  for (const auto& v : space.rigid) {
    std::vector<double> d(n);
    for (std::size_t k = 0; k < n; ++k) d[k] = v[k] / std::sqrt(space.mass[k]);
    orthogonalise(d, rigid);
    if (normalised(d, 1e-8)) rigid.push_back(std::move(d));
  }
  columns basis;
  for (std::size_t k = 0; k < n; ++k) {
    if (space.frozen[k]) continue;
    std::vector<double> e(n, 0.0);
    e[k] = 1;
    orthogonalise(e, rigid);
    orthogonalise(e, basis);
    if (normalised(e, 1e-3)) basis.push_back(std::move(e));
  }
  return basis;
}

saddle_result find_saddle(objective& f, std::vector<double> start, const saddle_settings& s) {
  const std::int64_t before = f.evaluations();
  saddle_result r;
  search_point p = f.evaluate(std::move(start));
  std::vector<double> H = finite_difference_hessian(f, p.x);
  r.hessian_evaluations = f.evaluations() - before - 1;
  const std::size_t n = p.x.size();
  double trust = s.trust;
  std::vector<double> followed;  // Cartesian, from the previous step
  for (;;) {
    const columns Q = internal_basis(f, p);
    const int m = static_cast<int>(Q.size());
    // The Hessian and gradient in the internal basis.
    std::vector<double> HQ(n * m, 0.0), Hm(static_cast<std::size_t>(m) * m);
    for (int j = 0; j < m; ++j)
      for (std::size_t l = 0; l < n; ++l)
        for (std::size_t i = 0; i < n; ++i) HQ[i + j * n] += H[i + l * n] * Q[j][l];
    for (int j = 0; j < m; ++j)
      for (int i = 0; i < m; ++i) Hm[i + j * m] = dot(Q[i], std::span<const double>(HQ.data() + j * n, n));
    std::vector<double> b;
    diagonalise(m, Hm, b);
    const std::vector<double> g = gradient_of(p);
    std::vector<std::vector<double>> modes(m, std::vector<double>(n, 0.0));
    std::vector<double> gm(m);
    for (int i = 0; i < m; ++i) {
      for (int j = 0; j < m; ++j)
        for (std::size_t k = 0; k < n; ++k) modes[i][k] += Q[j][k] * Hm[j + i * m];
      gm[i] = dot(modes[i], g);
    }
    int t = 0;
    if (!followed.empty()) {
      double best = -1;
      for (int i = 0; i < m; ++i)
        if (const double o = std::abs(dot(modes[i], followed)); o > best) best = o, t = i;
    }
    r.negative_curvatures = static_cast<int>(std::count_if(b.begin(), b.end(), [](double v) { return v < 0; }));
    r.mode = m > 0 ? modes[t] : std::vector<double>();
    if (largest_atom_norm(p.force) < s.fmax && r.negative_curvatures == 1) {
      r.converged = true;
      break;
    }
    if (r.steps >= s.max_steps || m == 0) break;
    followed = modes[t];

    // Uphill along mode t, downhill along the rest.
    const double up = 0.5 * b[t] + 0.5 * std::sqrt(b[t] * b[t] + 4 * gm[t] * gm[t]);
    std::vector<double> rest_b, rest_g;
    for (int i = 0; i < m; ++i)
      if (i != t) rest_b.push_back(b[i]), rest_g.push_back(gm[i]);
    const double down = minimising_shift(rest_b, rest_g);
    std::vector<double> step(n, 0.0);
    double predicted = 0;
    for (int i = 0; i < m; ++i) {
      const double denominator = b[i] - (i == t ? up : down);
      if (denominator == 0) continue;
      const double c = -gm[i] / denominator;
      predicted += gm[i] * c + 0.5 * b[i] * c * c;
      for (std::size_t k = 0; k < n; ++k) step[k] += c * modes[i][k];
    }
    const double longest = largest_atom_norm(step);
    const bool clipped = longest > trust;
    if (clipped) {
      const double shrink = trust / longest;
      for (double& q : step) q *= shrink;
      predicted = 0;
      for (int i = 0; i < m; ++i) {
        const double c = dot(modes[i], step);
        predicted += gm[i] * c + 0.5 * b[i] * c * c;
      }
    }
    std::vector<double> x = p.x;
    for (std::size_t k = 0; k < n; ++k) x[k] += step[k];
    search_point next = f.evaluate(std::move(x));
    ++r.steps;
    // The point is kept when the quadratic model foresaw the change of the function within a
    // factor of two, or the forces fell; otherwise the search stays and tries a shorter step.
    // Either way the step teaches the Hessian, and how good the forecast was sets the trust.
    const double ratio = (next.value - p.value) / predicted;
    const bool foreseen = ratio > 0 && ratio < 2;
    const bool kept = foreseen || largest_atom_norm(next.force) < largest_atom_norm(p.force) ||
                      std::abs(predicted) < model_noise;
    if (!foreseen || !kept) trust = std::max(0.5 * trust, least_trust);
    else if (clipped && ratio > 0.75 && ratio < 1.33) trust = std::min(2 * trust, s.max_trust);
    std::vector<double> ds(n), dg = gradient_of(next);
    for (std::size_t k = 0; k < n; ++k) {
      ds[k] = next.x[k] - p.x[k];
      dg[k] -= g[k];
    }
    bofill_update(H, ds, dg);
    if (kept) p = std::move(next);
  }
  r.end = std::move(p);
  r.evaluations = f.evaluations() - before;
  return r;
}

}  // namespace tbrelax
