#include "linalg/triangular.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "linalg/column_bands.hpp"
#include "linalg/eigen_kernels.hpp"
#include "linalg/packed_gemm.hpp"

namespace tbrelax {
namespace {

using eigen_detail::dot;
using eigen_detail::madd;
using eigen_detail::splat;
using eigen_detail::vec;
using eigen_detail::width;

// Blocks of at most this order are solved and factored element by element; above it the work
// is halved and the halves are coupled by a packed product.
constexpr int leaf = 64;

// Element (i, j) of a column-major matrix, by indices into the whole matrix.
struct view {
  double* data;
  std::size_t ld;
  double* at(int i, int j) const { return data + std::size_t(i) + std::size_t(j) * ld; }
};

// The first row of the second half of [r0, r1), a multiple of 8 rows on so that the products
// start on aligned rows.
int middle(int r0, int r1) { return r0 + ((r1 - r0) / 2 + 7) / 8 * 8; }

// The element-by-element solves take the columns `width` at a time, copied into a tile that
// holds row k of all of them in one vector: each step is one multiply-add of whole vectors.
struct column_tile {
  vec rows[leaf];
};

// Rows [r0, r1) of the columns [c, c + count) of B, solved with the diagonal block of U there.
template <class Step>
void solve_tiles(view U, view B, int r0, int r1, int c0, int c1, Step step) {
  const int n = r1 - r0;
  column_tile t;
  for (int c = c0; c < c1; c += width) {
    const int count = std::min(width, c1 - c);
    for (int k = 0; k < n; ++k)
      for (int j = 0; j < width; ++j) t.rows[k][j] = j < count ? *B.at(r0 + k, c + j) : 0.0;
    step(U, r0, n, t);
    for (int k = 0; k < n; ++k)
      for (int j = 0; j < count; ++j) *B.at(r0 + k, c + j) = t.rows[k][j];
  }
}

// U^-T: row i takes off U(k, i) times each solved row k < i, then divides by U(i, i). Four
// partial sums keep four multiply-adds in flight instead of one chain.
void forward_step(view U, int r0, int n, column_tile& t) {
  for (int i = 0; i < n; ++i) {
    const double* col = U.at(r0, r0 + i);
    vec acc[4] = {t.rows[i], vec{}, vec{}, vec{}};
    int k = 0;
    for (; k + 4 <= i; k += 4)
      for (int h = 0; h < 4; ++h) acc[h] = madd(splat(-col[k + h]), t.rows[k + h], acc[h]);
    for (; k < i; ++k) acc[0] = madd(splat(-col[k]), t.rows[k], acc[0]);
    t.rows[i] = ((acc[0] + acc[1]) + (acc[2] + acc[3])) / splat(col[i]);
  }
}

// U^-1: row i, once divided by U(i, i), is taken off every row above it.
void backward_step(view U, int r0, int n, column_tile& t) {
  for (int i = n - 1; i >= 0; --i) {
    const double* col = U.at(r0, r0 + i);
    t.rows[i] = t.rows[i] / splat(col[i]);
    const vec xi = t.rows[i];
    for (int k = 0; k < i; ++k) t.rows[k] = madd(splat(-col[k]), xi, t.rows[k]);
  }
}

// B := U^-T B on the rows [r0, r1) of the columns [c0, c1), on the calling thread. With
// upper_only a column c needs only its rows up to c, so the columns before r0 are left out.
void forward(view U, view B, int r0, int r1, int c0, int c1, bool upper_only) {
  if (upper_only) c0 = std::max(c0, r0);
  if (c0 >= c1) return;
  if (r1 - r0 <= leaf) {
    solve_tiles(U, B, r0, r1, c0, c1, forward_step);
    return;
  }
  const int m = middle(r0, r1);
  forward(U, B, r0, m, c0, c1, upper_only);
  // Rows [m, r1) lose U(r0:m, m:r1)^T times the rows [r0, m) just solved.
  const int from = upper_only ? std::max(c0, m) : c0;
  packed_product(r1 - m, c1 - from, m - r0, {U.at(r0, m), int(U.ld), true}, {B.at(r0, from), int(B.ld), false},
                 nullptr, B.at(m, from), int(B.ld), false, product_result::subtract);
  forward(U, B, m, r1, c0, c1, upper_only);
}

void backward(view U, view B, int r0, int r1, int c0, int c1) {
  if (c0 >= c1) return;
  if (r1 - r0 <= leaf) {
    solve_tiles(U, B, r0, r1, c0, c1, backward_step);
    return;
  }
  const int m = middle(r0, r1);
  backward(U, B, m, r1, c0, c1);
  packed_product(m - r0, c1 - c0, r1 - m, {U.at(r0, m), int(U.ld), false}, {B.at(m, c0), int(B.ld), false}, nullptr,
                 B.at(r0, c0), int(B.ld), false, product_result::subtract);
  backward(U, B, r0, m, c0, c1);
}

// Column by column: column j of U from the columns before it, then its pivot.
bool factor_leaf(view U, int r0, int r1, double* pivots) {
  for (int j = r0; j < r1; ++j) {
    double* col = U.at(r0, j);
    for (int k = 0; k < j - r0; ++k) {
      const double* ck = U.at(r0, r0 + k);
      col[k] = (col[k] - dot(ck, col, k)) / ck[k];
    }
    const double pivot = col[j - r0] - dot(col, col, j - r0);
    pivots[j] = pivot;
    if (!(pivot > 0)) return false;
    col[j - r0] = std::sqrt(pivot);
  }
  return true;
}

// [A11 A12; . A22] = [U11^T 0; U12^T U22^T] [U11 U12; 0 U22]: U11 from A11, U12 = U11^-T A12,
// then U22 from A22 - U12^T U12 (upper triangle).
bool factor(view U, int r0, int r1, double* pivots) {
  if (r1 - r0 <= leaf) return factor_leaf(U, r0, r1, pivots);
  const int m = middle(r0, r1);
  if (!factor(U, r0, m, pivots)) return false;
  const double rows = m - r0;
  in_column_bands(m, r1, 1, rows * rows / 2 * (r1 - m), [&](int c0, int c1) { forward(U, U, r0, m, c0, c1, false); });
  packed_product(r1 - m, r1 - m, m - r0, {U.at(r0, m), int(U.ld), true}, {U.at(r0, m), int(U.ld), false}, nullptr,
                 U.at(m, m), int(U.ld), true, product_result::subtract);
  return factor(U, m, r1, pivots);
}

view whole(const matrix& M) { return {const_cast<double*>(M.data()), std::size_t(M.rows())}; }

// Half of n^2 multiply-adds per column.
double solve_work(const matrix& U, int columns) { return double(U.rows()) * U.rows() / 2 * columns; }

}  // namespace

bool cholesky_upper(matrix& U, std::vector<double>& pivots) {
  const int n = U.rows();
  pivots.assign(std::size_t(n), 0.0);
  return n == 0 || factor(whole(U), 0, n, pivots.data());
}

void solve_transposed_upper(const matrix& U, double* B, int ldb, int columns) {
  in_column_bands(0, columns, 1, solve_work(U, columns), [&](int c0, int c1) {
    forward(whole(U), {B, std::size_t(ldb)}, 0, U.rows(), c0, c1, false);
  });
}

void solve_upper(const matrix& U, double* B, int ldb, int columns) {
  in_column_bands(0, columns, 1, solve_work(U, columns),
                  [&](int c0, int c1) { backward(whole(U), {B, std::size_t(ldb)}, 0, U.rows(), c0, c1); });
}

void solve_transposed_upper_to_upper(const matrix& U, double* B) {
  const int n = U.rows();
  in_column_bands(0, n, 3, solve_work(U, n) / 3,
                  [&](int c0, int c1) { forward(whole(U), {B, std::size_t(n)}, 0, n, c0, c1, true); });
}

// One vector reads each column of U once, contiguously: a dot product per row going forward, a
// multiple of the column taken off going back.
void solve_transposed_upper(const matrix& U, std::vector<double>& x) {
  for (int i = 0; i < U.rows(); ++i) x[i] = (x[i] - dot(U.col(i), x.data(), i)) / U(i, i);
}

void solve_upper(const matrix& U, std::vector<double>& x) {
  for (int i = U.rows() - 1; i >= 0; --i) {
    x[i] = x[i] / U(i, i);
    const double xi = x[i];
    const double* col = U.col(i);
    for (int k = 0; k < i; ++k) x[k] -= xi * col[k];
  }
}

}  // namespace tbrelax
