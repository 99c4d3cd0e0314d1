// Householder reduction of a symmetric matrix to tridiagonal form, from the
// last row up.
//
// Row i of the lower triangle is strided in column-major storage, so the lower
// triangle is first mirrored onto the upper one and the reduction works on the
// columns of the upper triangle, which hold the same numbers contiguously. The
// rank-two update left by one reflector is applied during the next reflector's
// matrix-vector product, so each step walks the active triangle only once.
// The steps run on one thread: each is too short for threads to wait on each
// other at its end without losing more than they gain once the processor is
// shared with other work.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include "linalg/eigen_detail.hpp"
#include "linalg/eigen_kernels.hpp"

namespace tbrelax::eigen_detail {
namespace {

void mirror_lower(double* v, std::size_t ld, int n) {
  constexpr int tile = 32;  // keeps the strided writes of a tile within cache
  for (int jb = 0; jb < n; jb += tile) {
    const int je = std::min(jb + tile, n);
    for (int ib = jb; ib < n; ib += tile) {
      const int ie = std::min(ib + tile, n);
      for (int j = jb; j < je; ++j)
        for (int i = std::max(ib, j + 1); i < ie; ++i) v[j + i * ld] = v[i + j * ld];
    }
  }
}

// Over the upper triangle of the leading l x l block: the pending update
// A -= u q^T + q u^T (with Update) and the product p += A us (with Multiply).
// Columns go in pairs so that each load of u, q, us and p serves two columns.
template <bool Update, bool Multiply>
void walk_columns(double* v, std::size_t ld, int l, const double* __restrict up, const double* __restrict qp,
                  const double* __restrict us, double* __restrict p) {
  int j = 0;
  for (; j + 1 < l; j += 2) {
    double* __restrict a0 = v + std::size_t(j) * ld;
    double* __restrict a1 = a0 + ld;
    const double u0 = Update ? up[j] : 0.0, q0 = Update ? qp[j] : 0.0;
    const double u1 = Update ? up[j + 1] : 0.0, q1 = Update ? qp[j + 1] : 0.0;
    const double w0 = Multiply ? us[j] : 0.0, w1 = Multiply ? us[j + 1] : 0.0;
    const vec vu0 = splat(u0), vq0 = splat(q0), vu1 = splat(u1), vq1 = splat(q1);
    const vec vw0 = splat(w0), vw1 = splat(w1);
    vec s0{}, s1{};
    int k = 0;
    for (; k + width <= j; k += width) {
      vec x0 = load(a0 + k), x1 = load(a1 + k);
      if constexpr (Update) {
        const vec qk = load(qp + k), uk = load(up + k);
        x0 = x0 - vu0 * qk - vq0 * uk;
        x1 = x1 - vu1 * qk - vq1 * uk;
        store(a0 + k, x0);
        store(a1 + k, x1);
      }
      if constexpr (Multiply) {
        const vec wk = load(us + k);
        s0 += x0 * wk;
        s1 += x1 * wk;
        store(p + k, load(p + k) + x0 * vw0 + x1 * vw1);
      }
    }
    double r0 = Multiply ? sum(s0) : 0.0, r1 = Multiply ? sum(s1) : 0.0;
    // Remaining rows, then row j (diagonal of column j) and row j + 1 (diagonal of column j + 1).
    for (; k <= j + 1; ++k) {
      double x0 = k <= j ? a0[k] : 0.0, x1 = a1[k];
      if constexpr (Update) {
        x0 = x0 - u0 * qp[k] - q0 * up[k];
        x1 = x1 - u1 * qp[k] - q1 * up[k];
        if (k <= j) a0[k] = x0;
        a1[k] = x1;
      }
      if constexpr (Multiply) {
        if (k <= j) r0 += x0 * us[k];
        r1 += x1 * us[k];
        if (k < j) p[k] += x0 * w0 + x1 * w1;
        if (k == j) p[k] += x1 * w1;
      }
    }
    if constexpr (Multiply) {
      p[j] += r0;
      p[j + 1] += r1;
    }
  }
  if (j < l) {  // an odd column left over
    double* __restrict a0 = v + std::size_t(j) * ld;
    const double u0 = Update ? up[j] : 0.0, q0 = Update ? qp[j] : 0.0;
    const double w0 = Multiply ? us[j] : 0.0;
    double r = 0.0;
    for (int k = 0; k <= j; ++k) {
      double x0 = a0[k];
      if constexpr (Update) {
        x0 = x0 - u0 * qp[k] - q0 * up[k];
        a0[k] = x0;
      }
      if constexpr (Multiply) {
        r += x0 * us[k];
        if (k < j) p[k] += x0 * w0;
      }
    }
    if constexpr (Multiply) p[j] += r;
  }
}

}  // namespace

void householder_reduce(int nm, int n, double* d, double* e, double* v) {
  const std::size_t ld = std::size_t(nm), nn = std::size_t(n);
  mirror_lower(v, ld, n);
  std::vector<double> work(4 * nn);
  double* us = work.data();  // scaled Householder vector of the current row
  double* up = us + nn;      // u and q of the rank-two update not yet applied
  double* qp = up + nn;
  double* acc = qp + nn;     // A us
  bool pending = false;

  for (int c = n - 1; c >= 1; --c) {
    const int l = c;
    double* col = v + std::size_t(c) * ld;  // row c of the matrix, diagonal included
    if (pending)
      for (int k = 0; k <= c; ++k) col[k] = col[k] - up[c] * qp[k] - qp[c] * up[k];
    double sigma = 0.0;
    if (l > 1)
      for (int k = 0; k < l; ++k) sigma += std::abs(col[k]);
    if (l == 1 || sigma == 0.0) {
      e[c] = col[l - 1];
      d[c] = 0.0;
      if (pending) walk_columns<true, false>(v, ld, l, up, qp, nullptr, nullptr);
      pending = false;
      continue;
    }
    // Scaling by the row's 1-norm keeps the sum of squares clear of overflow and underflow.
    double h = 0.0;
    for (int k = 0; k < l; ++k) {
      us[k] = col[k] / sigma;
      h += us[k] * us[k];
    }
    double f = us[l - 1];
    const double g = -std::copysign(std::sqrt(h), f);
    e[c] = sigma * g;
    h -= f * g;
    us[l - 1] = f - g;

    std::fill(acc, acc + l, 0.0);
    if (pending)
      walk_columns<true, true>(v, ld, l, up, qp, us, acc);
    else
      walk_columns<false, true>(v, ld, l, up, qp, us, acc);

    // Row c left of the diagonal keeps u / H for the accumulation of Q.
    const double sh = sigma * h;
    f = 0.0;
    for (int j = 0; j < l; ++j) {
      v[std::size_t(c) + std::size_t(j) * ld] = us[j] / sh;
      acc[j] /= h;
      f += acc[j] * us[j];
    }
    const double hh = f / (h + h);
    for (int j = 0; j < l; ++j) qp[j] = acc[j] - hh * us[j];
    for (int k = 0; k < l; ++k) col[k] = us[k] * sigma;
    std::swap(us, up);
    pending = true;
    d[c] = h;
  }
  d[0] = 0.0;
  e[0] = 0.0;
}

}  // namespace tbrelax::eigen_detail
