#pragma once
// A plain, unoptimised statement of the Householder reduction and the implicit
// QL iteration, written index for index with 1-based subscripts. The tests use
// it as the oracle for the optimised routines in src/linalg.

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace tbrelax::reference {

struct view {
  double* a;
  int nm;
  double& operator()(int i, int j) const { return a[std::size_t(i - 1) + std::size_t(j - 1) * std::size_t(nm)]; }
};

inline double sign(double a, double b) { return std::copysign(std::abs(a), b); }

inline void tred2(int nm, int n, double* dp, double* ep, double* vp) {
  view v{vp, nm};
  auto d = [dp](int i) -> double& { return dp[i - 1]; };
  auto e = [ep](int i) -> double& { return ep[i - 1]; };
  if (n >= 2) {
    for (int i = n; i >= 2; --i) {
      const int l = i - 1;
      double h = 0.0;
      double scale = 0.0;
      if (l > 1)
        for (int k = 1; k <= l; ++k) scale += std::abs(v(i, k));
      if (l == 1 || scale == 0.0) {
        e(i) = v(i, l);
      } else {
        for (int k = 1; k <= l; ++k) {
          v(i, k) /= scale;
          h += v(i, k) * v(i, k);
        }
        double f = v(i, l);
        double g = -sign(std::sqrt(h), f);
        e(i) = scale * g;
        h -= f * g;
        v(i, l) = f - g;
        f = 0.0;
        for (int j = 1; j <= l; ++j) {
          v(j, i) = v(i, j) / (scale * h);
          g = 0.0;
          for (int k = 1; k <= j; ++k) g += v(j, k) * v(i, k);
          for (int k = j + 1; k <= l; ++k) g += v(k, j) * v(i, k);
          e(j) = g / h;
          f += e(j) * v(i, j);
        }
        const double hh = f / (h + h);
        for (int j = 1; j <= l; ++j) {
          f = v(i, j);
          g = e(j) - hh * f;
          e(j) = g;
          for (int k = 1; k <= j; ++k) v(j, k) = v(j, k) - f * e(k) - g * v(i, k);
        }
        for (int k = 1; k <= l; ++k) v(i, k) *= scale;
      }
      d(i) = h;
    }
    d(1) = 0.0;
    e(1) = 0.0;
  }
  for (int i = 1; i <= n; ++i) {
    const int l = i - 1;
    if (i > 1 && d(i) != 0.0) {
      for (int j = 1; j <= l; ++j) {
        double g = 0.0;
        for (int k = 1; k <= l; ++k) g += v(i, k) * v(k, j);
        for (int k = 1; k <= l; ++k) v(k, j) -= g * v(k, i);
      }
    }
    d(i) = v(i, i);
    v(i, i) = 1.0;
    for (int j = 1; j <= l; ++j) v(i, j) = v(j, i) = 0.0;
  }
  if (n == 1) e(1) = 0.0;
}

inline void tql2(int nm, int n, double* dp, double* ep, double* vp, int& ierr) {
  view v{vp, nm};
  auto d = [dp](int i) -> double& { return dp[i - 1]; };
  auto e = [ep](int i) -> double& { return ep[i - 1]; };
  const double eps = 2.220446049250313e-16;
  ierr = 0;
  if (n <= 1) return;
  for (int i = 2; i <= n; ++i) e(i - 1) = e(i);
  e(n) = 0.0;
  double f = 0.0;
  double b = 0.0;
  for (int l = 1; l <= n; ++l) {
    b = std::max(b, eps * (std::abs(d(l)) + std::abs(e(l))));
    int m = l;
    while (m < n && !(std::abs(e(m)) <= b)) ++m;
    if (m > l) {
      for (int iter = 1;; ++iter) {
        double g = d(l);
        double p = (d(l + 1) - g) / (2.0 * e(l));
        double r = std::sqrt(p * p + 1.0);
        const double mu = g - e(l) / (p + sign(r, p));
        for (int i = l; i <= n; ++i) d(i) -= mu;
        f += mu;
        p = d(m);
        double cs = 1.0;
        double sn = 0.0;
        for (int i = m - 1; i >= l; --i) {
          g = cs * e(i);
          const double q = cs * p;
          if (std::abs(p) >= std::abs(e(i))) {
            const double t = e(i) / p;
            r = std::sqrt(t * t + 1.0);
            e(i + 1) = sn * p * r;
            sn = t / r;
            cs = 1.0 / r;
          } else {
            const double t = p / e(i);
            r = std::sqrt(t * t + 1.0);
            e(i + 1) = sn * e(i) * r;
            sn = 1.0 / r;
            cs = t * sn;
          }
          p = cs * d(i) - sn * g;
          d(i + 1) = q + sn * (cs * g + sn * d(i));
          for (int k = 1; k <= n; ++k) {
            const double t = v(k, i + 1);
            v(k, i + 1) = sn * v(k, i) + cs * t;
            v(k, i) = cs * v(k, i) - sn * t;
          }
        }
        e(l) = sn * p;
        d(l) = cs * p;
        if (std::abs(e(l)) <= b) break;
        if (iter == 50) {
          ierr = l;
          return;
        }
      }
    }
    d(l) += f;
  }
  for (int i = 1; i < n; ++i) {
    int k = i;
    double p = d(i);
    for (int j = i + 1; j <= n; ++j)
      if (d(j) < p) {
        k = j;
        p = d(j);
      }
    if (k != i) {
      d(k) = d(i);
      d(i) = p;
      for (int j = 1; j <= n; ++j) {
        const double t = v(j, i);
        v(j, i) = v(j, k);
        v(j, k) = t;
      }
    }
  }
}

}  // namespace tbrelax::reference
