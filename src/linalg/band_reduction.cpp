// Panel p (columns j0 .. j0 + b) is reduced by a QR factorisation of its rows below the band,
// Q_p = I - V T V^T; the trailing matrix A22 then becomes Q_p^T A22 Q_p = A22 - V W^T - W V^T
// with X = A22 V T, W = X - V (T^T V^T X) / 2: one product by A22, one rank-2b update of its
// upper triangle, which is then mirrored so that the next panel's product reads it whole.

#include "linalg/band_reduction.hpp"

#include <algorithm>
#include <cmath>

#include "linalg/block_reflector.hpp"
#include "linalg/column_bands.hpp"
#include "linalg/eigen_kernels.hpp"
#include "linalg/packed_gemm.hpp"

namespace tbrelax {
namespace {

using eigen_detail::dot;

// Columns of the eigenvectors transformed together: they stay in cache while every panel passes.
constexpr int column_block = 256;

struct panel {
  int j0, rows, count;  // first column, rows below the band, reflectors
};

std::vector<panel> panels_of(int n, int b) {
  std::vector<panel> list;
  for (int j0 = 0; n - j0 - b >= 2; j0 += b) list.push_back({j0, n - j0 - b, std::min(b, n - j0 - b)});
  return list;
}

// Householder QR of the rows [r0, n) of the panel's columns [j0, j0 + width) of A, in place, by
// `count` reflectors: R on and above the diagonal, the vectors below it; tau[i] for each.
void factor_panel(matrix& A, int r0, int j0, int width, int count, double* tau) {
  const int n = A.rows();
  for (int i = 0; i < count; ++i) {
    double* x = A.col(j0 + i) + r0 + i;
    const int len = n - r0 - i;
    const double alpha = x[0], norm = std::sqrt(dot(x + 1, x + 1, len - 1));
    tau[i] = 0.0;
    if (norm == 0.0) continue;
    const double beta = -std::copysign(std::hypot(alpha, norm), alpha);
    tau[i] = (beta - alpha) / beta;
    const double scale = 1.0 / (alpha - beta);
    for (int k = 1; k < len; ++k) x[k] *= scale;
    x[0] = beta;
    for (int q = i + 1; q < width; ++q) {  // (I - tau v v^T) on the panel's remaining columns
      double* y = A.col(j0 + q) + r0 + i;
      const double w = tau[i] * (y[0] + dot(x + 1, y + 1, len - 1));
      y[0] -= w;
      for (int k = 1; k < len; ++k) y[k] -= w * x[k];
    }
  }
}

// The m x h matrix V with unit diagonal from the vectors below the diagonal of the panel.
void unpack_vectors(const matrix& A, int r0, int j0, int m, int h, double* V) {
  for (int i = 0; i < h; ++i) {
    double* v = V + std::size_t(i) * m;
    std::fill(v, v + i, 0.0);
    v[i] = 1.0;
    const double* x = A.col(j0 + i) + r0;
    std::copy(x + i + 1, x + m, v + i + 1);
  }
}

void mirror_block(double* a, std::size_t ld, int m) {
  constexpr int block = 64;
#pragma omp parallel for schedule(dynamic) if (m > 512)
  for (int bj = 0; bj < m; bj += block)
    for (int bi = bj; bi < m; bi += block)
      for (int j = bj; j < std::min(m, bj + block); ++j)
        for (int i = std::max(j + 1, bi); i < std::min(m, bi + block); ++i) a[i + j * ld] = a[j + i * ld];
}

}  // namespace

void reduce_to_band(matrix& A, int b, band_reduction& r) {
  const int n = A.rows();
  const std::size_t ld = std::size_t(n);
  r.width = b;
  const std::vector<panel> panels = panels_of(n, b);
  r.T.assign(panels.size() * std::size_t(b) * b, 0.0);
  const std::size_t mb = ld * std::size_t(b);
  r.work.resize(6 * mb + 3 * std::size_t(b) * b + b);
  double* V = r.work.data();  // m x h, then [V | W] for the update
  double* W = V + 2 * mb;
  double* R = W + mb;  // [W | V]
  double* X = R + 2 * mb;
  double* G = X + mb;
  double* Y = G + std::size_t(b) * b;
  double* M = Y + std::size_t(b) * b;
  double* tau = M + std::size_t(b) * b;
  const std::vector<double> halves(b, 0.5);
  for (std::size_t p = 0; p < panels.size(); ++p) {
    const int j0 = panels[p].j0, m = panels[p].rows, h = panels[p].count, r0 = j0 + b;
    double* T = r.T.data() + p * std::size_t(b) * b;
    factor_panel(A, r0, j0, b, h, tau);
    unpack_vectors(A, r0, j0, m, h, V);
    block_reflector_factor(V, m, h, tau, G, T);
    double* a22 = A.data() + r0 + r0 * ld;
    packed_product(m, h, m, {a22, n, false}, {V, m, false}, nullptr, X, m, false);          // A22 V
    packed_product(m, h, h, {X, m, false}, {T, h, false}, nullptr, W, m, false);            // X = A22 V T
    packed_product(h, h, m, {V, m, true}, {W, m, false}, nullptr, Y, h, false);             // V^T X
    packed_product(h, h, h, {T, h, true}, {Y, h, false}, halves.data(), M, h, false);      // T^T V^T X / 2
    packed_product(m, h, h, {V, m, false}, {M, h, false}, nullptr, W, m, false, product_result::subtract);
    // A22 -= [V W] [W V]^T over the upper triangle.
    std::copy(W, W + std::size_t(m) * h, R);
    std::copy(V, V + std::size_t(m) * h, R + std::size_t(m) * h);
    std::copy(W, W + std::size_t(m) * h, V + std::size_t(m) * h);
    packed_product(m, m, 2 * h, {V, m, false}, {R, m, true}, nullptr, a22, n, true, product_result::subtract);
    mirror_block(a22, ld, m);
  }
}

void apply_band_reflectors(const matrix& A, band_reduction& r, double* Z, std::size_t ldz, int columns) {
  const int n = A.rows(), b = r.width;
  const std::vector<panel> panels = panels_of(n, b);
  // Q Z = Q_0 (Q_1 (... Q_last Z)): the last panel first, a block of columns at a time.
  in_column_blocks(columns, column_block, double(n) * n * columns, [&](int c0, int c1, std::vector<double>& scratch) {
    const int count = c1 - c0;
    scratch.resize(std::size_t(n) * b + 2 * std::size_t(b) * count);
    double* V = scratch.data();
    double* W = V + std::size_t(n) * b;
    double* W2 = W + std::size_t(b) * count;
    for (std::size_t p = panels.size(); p-- > 0;) {
      const int j0 = panels[p].j0, m = panels[p].rows, h = panels[p].count, r0 = j0 + b;
      unpack_vectors(A, r0, j0, m, h, V);
      apply_block_reflector(V, m, h, r.T.data() + p * std::size_t(b) * b, Z + r0 + std::size_t(c0) * ldz, ldz, count,
                            W, W2);
    }
  });
}

}  // namespace tbrelax
