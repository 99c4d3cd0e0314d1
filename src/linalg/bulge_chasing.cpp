#include "linalg/bulge_chasing.hpp"

#include <algorithm>
#include <cmath>

#include "linalg/eigen_kernels.hpp"

namespace tbrelax {
namespace {

using eigen_detail::dot;

// The lower triangle within 2b of the diagonal, column by column: the band and room for the
// bulges. Element (i, j), 0 <= i - j <= 2b, at (i - j) + j (2b + 1).
struct band_storage {
  double* data;
  std::size_t ld;
  double* at(int i, int j) const { return data + std::size_t(i - j) + std::size_t(j) * ld; }
};

// Householder reflector taking x (len) to (beta, 0, ...): v (v[0] = 1) and tau; x becomes
// (beta, 0, ...).
double make_reflector(double* x, int len, double* v) {
  v[0] = 1.0;
  std::fill(v + 1, v + len, 0.0);
  if (len < 2) return 0.0;
  const double alpha = x[0], norm = std::sqrt(dot(x + 1, x + 1, len - 1));
  if (norm == 0.0) return 0.0;
  const double beta = -std::copysign(std::hypot(alpha, norm), alpha);
  const double scale = 1.0 / (alpha - beta);
  for (int k = 1; k < len; ++k) {
    v[k] = x[k] * scale;
    x[k] = 0.0;
  }
  x[0] = beta;
  return (beta - alpha) / beta;
}

// H from the left on the rows [s, s + len) of columns [q0, q1).
void reflect_rows(band_storage B, int s, int len, int q0, int q1, const double* v, double tau) {
  for (int q = q0; q < q1; ++q) {
    double* y = B.at(s, q);
    const double w = tau * dot(v, y, len);
    for (int k = 0; k < len; ++k) y[k] -= w * v[k];
  }
}

// H A H on the symmetric diagonal block of rows and columns [s, s + len), lower triangle:
// y = tau A v, y -= (tau / 2)(y.v) v, A -= v y^T + y v^T.
void reflect_both_sides(band_storage B, int s, int len, const double* v, double tau, double* y) {
  std::fill(y, y + len, 0.0);
  for (int j = 0; j < len; ++j) {
    const double* col = B.at(s + j, s + j);  // rows s + j .. s + len - 1 of column s + j
    double sum = 0.0;
    for (int i = 1; i < len - j; ++i) {
      y[j + i] += col[i] * v[j];
      sum += col[i] * v[j + i];
    }
    y[j] += col[0] * v[j] + sum;
  }
  for (int k = 0; k < len; ++k) y[k] *= tau;
  const double alpha = -0.5 * tau * dot(y, v, len);
  for (int k = 0; k < len; ++k) y[k] += alpha * v[k];
  for (int j = 0; j < len; ++j) {
    double* col = B.at(s + j, s + j);
    for (int i = 0; i < len - j; ++i) col[i] -= v[j + i] * y[j] + y[j + i] * v[j];
  }
}

// H from the right on the rows [r, r + rows) of the columns [s, s + len): u = E v,
// E -= tau u v^T.
void reflect_columns(band_storage B, int r, int rows, int s, int len, const double* v, double tau, double* u) {
  std::fill(u, u + rows, 0.0);
  for (int j = 0; j < len; ++j) {
    const double* col = B.at(r, s + j);
    for (int i = 0; i < rows; ++i) u[i] += col[i] * v[j];
  }
  for (int j = 0; j < len; ++j) {
    double* col = B.at(r, s + j);
    const double w = tau * v[j];
    for (int i = 0; i < rows; ++i) col[i] -= w * u[i];
  }
}

}  // namespace

void chase_band(const matrix& A, int b, double* d, double* e, bulge_chase& r) {
  const int n = A.rows();
  r.n = n;
  r.width = b;
  const std::size_t ld = 2 * std::size_t(b) + 1;
  r.band.assign(ld * std::size_t(n), 0.0);
  const band_storage B{r.band.data(), ld};
  for (int j = 0; j < n; ++j)
    for (int i = j; i <= std::min(j + b, n - 1); ++i) *B.at(i, j) = A(i, j);
  // Reflectors of sweep c: one per block of b rows from c + 1 on.
  r.first.assign(std::size_t(std::max(n - 1, 1)), 0);
  for (int c = 0; c + 2 < n; ++c) r.first[c + 1] = r.first[c] + std::size_t((n - 2 - c) / b + 1);
  const std::size_t count = n >= 3 ? r.first[n - 2] : 0;
  r.vectors.assign(count * b, 0.0);
  r.tau.assign(count, 0.0);
  r.work.resize(2 * std::size_t(b));
  double* y = r.work.data();
  for (int c = 0; c + 2 < n; ++c) {
    int p = c, s = c + 1;
    for (std::size_t k = r.first[c]; s < n; ++k) {
      const int len = std::min(b, n - s), next = s + len, below = std::min(b, n - next);
      double* v = r.vectors.data() + k * b;
      const double tau = r.tau[k] = make_reflector(B.at(s, p), len, v);
      if (tau != 0.0) {
        reflect_rows(B, s, len, p + 1, s, v, tau);  // the rest of the previous block
        reflect_both_sides(B, s, len, v, tau, y);
        if (below > 0) reflect_columns(B, next, below, s, len, v, tau, y);
      }
      p = s;
      s = next;
    }
  }
  for (int i = 0; i < n; ++i) d[i] = *B.at(i, i);
  for (int i = 0; i + 1 < n; ++i) e[i] = *B.at(i + 1, i);
}

}  // namespace tbrelax
