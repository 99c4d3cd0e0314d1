#include "linalg/triangular.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "linalg/eigen_kernels.hpp"
#include "linalg/packed_gemm.hpp"

namespace tbrelax {
namespace {

using eigen_detail::dot;

// Blocks of at most this order are solved and factored element by element; above it the work
// is halved and the halves are coupled by a packed product.
constexpr int leaf = 64;
// Right-hand sides from which the element-by-element solves share the columns among threads.
constexpr int threaded_columns = 32;

// A square block of the factor: element (i, j) at u[i + j * ld].
struct block {
  const double* u;
  std::size_t ld;
  const double* at(int i, int j) const { return u + std::size_t(i) + std::size_t(j) * ld; }
};

// The split of [0, n) into two parts, the first a multiple of 8 so that the products start on
// aligned rows.
int half(int n) { return (n / 2 + 7) / 8 * 8; }

// x := U^-T x over rows [0, n): x_i = (x_i - sum_{k<i} U(k, i) x_k) / U(i, i), each sum a dot
// product with the contiguous column i of U.
void forward_column(block U, int n, double* x) {
  for (int i = 0; i < n; ++i) x[i] = (x[i] - dot(U.at(0, i), x, i)) / *U.at(i, i);
}

// x := U^-1 x over rows [0, n), column by column from the last: x_i is final once divided, and
// then leaves its multiple of column i above the diagonal.
void backward_column(block U, int n, double* x) {
  for (int i = n - 1; i >= 0; --i) {
    x[i] = x[i] / *U.at(i, i);
    const double xi = x[i];
    const double* col = U.at(0, i);
    for (int k = 0; k < i; ++k) x[k] -= xi * col[k];
  }
}

// The element-by-element solves take the columns `width` at a time, copied into a tile that
// holds row k of all of them in one vector: each step is then one multiply-add of whole vectors.
using eigen_detail::vec;
using eigen_detail::width;

struct column_tile {
  vec rows[leaf];
  int count;  // columns in the tile

  void load(const double* B, std::size_t ldb, int n, int columns) {
    count = columns;
    for (int k = 0; k < n; ++k)
      for (int c = 0; c < width; ++c) rows[k][c] = c < count ? B[k + c * ldb] : 0.0;
  }
  void store(double* B, std::size_t ldb, int n) const {
    for (int k = 0; k < n; ++k)
      for (int c = 0; c < count; ++c) B[k + c * ldb] = rows[k][c];
  }
};

// U^-T on rows [0, n): row i takes off U(k, i) times each solved row k < i.
void forward_tile(block U, int n, column_tile& t) {
  for (int i = 0; i < n; ++i) {
    const double* col = U.at(0, i);
    vec acc = t.rows[i];
    for (int k = 0; k < i; ++k) acc = eigen_detail::madd(eigen_detail::splat(-col[k]), t.rows[k], acc);
    t.rows[i] = acc / eigen_detail::splat(col[i]);
  }
}

// U^-1 on rows [0, n): row i, once solved, is taken off every row above it.
void backward_tile(block U, int n, column_tile& t) {
  for (int i = n - 1; i >= 0; --i) {
    const double* col = U.at(0, i);
    t.rows[i] = t.rows[i] / eigen_detail::splat(col[i]);
    const vec xi = t.rows[i];
    for (int k = 0; k < i; ++k) t.rows[k] = eigen_detail::madd(eigen_detail::splat(-col[k]), xi, t.rows[k]);
  }
}

template <class Solve>
void each_tile(block U, int n, double* B, std::size_t ldb, int columns, Solve solve) {
  const int tiles = (columns + width - 1) / width;
#pragma omp parallel for schedule(static) if (columns >= threaded_columns)
  for (int m = 0; m < tiles; ++m) {
    column_tile t;
    double* first = B + std::size_t(m) * width * ldb;
    t.load(first, ldb, n, std::min(width, columns - m * width));
    solve(U, n, t);
    t.store(first, ldb, n);
  }
}

// B := U^-T B for the rows [0, n) of U, the columns [first, columns) of B, where first is 0 or
// (for the upper triangle of the result only) the first row of the block.
void forward(block U, int n, double* B, std::size_t ldb, int columns, bool upper_only) {
  if (n <= leaf) {
    each_tile(U, n, B, ldb, columns, forward_tile);
    return;
  }
  const int m = half(n);
  forward(U, m, B, ldb, columns, upper_only);
  // Rows [m, n) lose U(0:m, m:n)^T times the solved rows [0, m); with upper_only only the
  // columns from m on are needed below.
  const int skip = upper_only ? m : 0;
  double* lower = B + m + std::size_t(skip) * ldb;
  packed_product(n - m, columns - skip, m, {U.at(0, m), int(U.ld), true}, {B + std::size_t(skip) * ldb, int(ldb), false},
                 nullptr, lower, int(ldb), false, product_result::subtract);
  forward({U.at(m, m), U.ld}, n - m, lower, ldb, columns - skip, upper_only);
}

void backward(block U, int n, double* B, std::size_t ldb, int columns) {
  if (n <= leaf) {
    each_tile(U, n, B, ldb, columns, backward_tile);
    return;
  }
  const int m = half(n);
  backward({U.at(m, m), U.ld}, n - m, B + m, ldb, columns);
  packed_product(m, columns, n - m, {U.at(0, m), int(U.ld), false}, {B + m, int(ldb), false}, nullptr, B, int(ldb),
                 false, product_result::subtract);
  backward(U, m, B, ldb, columns);
}

// Column by column: column j of U from the columns before it, then its pivot.
bool factor_leaf(double* u, std::size_t ld, int n, double* pivots) {
  for (int j = 0; j < n; ++j) {
    double* col = u + std::size_t(j) * ld;
    for (int k = 0; k < j; ++k) {
      const double* ck = u + std::size_t(k) * ld;
      col[k] = (col[k] - dot(ck, col, k)) / ck[k];
    }
    const double pivot = col[j] - dot(col, col, j);
    pivots[j] = pivot;
    if (!(pivot > 0)) return false;
    col[j] = std::sqrt(pivot);
  }
  return true;
}

// [A11 A12; . A22] = [U11^T 0; U12^T U22^T] [U11 U12; 0 U22]: U11 from A11, U12 = U11^-T A12,
// then U22 from A22 - U12^T U12 (upper triangle).
bool factor(double* u, std::size_t ld, int n, double* pivots) {
  if (n <= leaf) return factor_leaf(u, ld, n, pivots);
  const int m = half(n);
  if (!factor(u, ld, m, pivots)) return false;
  double* a12 = u + std::size_t(m) * ld;
  forward({u, ld}, m, a12, ld, n - m, false);
  double* a22 = a12 + m;
  packed_product(n - m, n - m, m, {a12, int(ld), true}, {a12, int(ld), false}, nullptr, a22, int(ld), true,
                 product_result::subtract);
  return factor(a22, ld, n - m, pivots + m);
}

}  // namespace

bool cholesky_upper(matrix& U, std::vector<double>& pivots) {
  const int n = U.rows();
  pivots.assign(std::size_t(n), 0.0);
  return n == 0 || factor(U.data(), std::size_t(n), n, pivots.data());
}

void solve_transposed_upper(const matrix& U, double* B, int ldb, int columns) {
  forward({U.data(), std::size_t(U.rows())}, U.rows(), B, std::size_t(ldb), columns, false);
}

void solve_upper(const matrix& U, double* B, int ldb, int columns) {
  backward({U.data(), std::size_t(U.rows())}, U.rows(), B, std::size_t(ldb), columns);
}

void solve_transposed_upper_to_upper(const matrix& U, double* B) {
  const int n = U.rows();
  forward({U.data(), std::size_t(n)}, n, B, std::size_t(n), n, true);
}

void solve_transposed_upper(const matrix& U, std::vector<double>& x) {
  forward_column({U.data(), std::size_t(U.rows())}, U.rows(), x.data());
}

void solve_upper(const matrix& U, std::vector<double>& x) {
  backward_column({U.data(), std::size_t(U.rows())}, U.rows(), x.data());
}

}  // namespace tbrelax
