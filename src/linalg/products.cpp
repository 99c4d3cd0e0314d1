#include "linalg/products.hpp"

#include <algorithm>

namespace tbrelax {
namespace {

// Register tile of the product: MR rows by NR columns of C stay in registers while the whole
// inner dimension streams through, so every element is summed over k in increasing order.
constexpr int MR = 16;
constexpr int NR = 4;

// C(i0:i0+MR, j0:j0+NR) = A(i0:, :) B(:, j0:) for a full tile.
void tile(int k_count, const double* A, int lda, const double* B, int ldb, double* C, int ldc) {
  double acc[NR][MR] = {};
  for (int k = 0; k < k_count; ++k) {
    const double* a = A + static_cast<std::size_t>(k) * lda;
    for (int c = 0; c < NR; ++c) {
      const double b = B[k + static_cast<std::size_t>(c) * ldb];
      for (int r = 0; r < MR; ++r) acc[c][r] += a[r] * b;
    }
  }
  for (int c = 0; c < NR; ++c)
    for (int r = 0; r < MR; ++r) C[r + static_cast<std::size_t>(c) * ldc] = acc[c][r];
}

// The same for a partial tile at the edges.
void edge_tile(int rows, int cols, int k_count, const double* A, int lda, const double* B, int ldb, double* C,
               int ldc) {
  for (int c = 0; c < cols; ++c)
    for (int r = 0; r < rows; ++r) {
      double sum = 0;
      for (int k = 0; k < k_count; ++k) sum += A[r + static_cast<std::size_t>(k) * lda] * B[k + static_cast<std::size_t>(c) * ldb];
      C[r + static_cast<std::size_t>(c) * ldc] = sum;
    }
}

// C = A B with A m x k, B k x n (column-major, leading dimensions = rows). With upper_only,
// tiles entirely below the diagonal are skipped (the caller mirrors).
void gemm(int m, int n, int k, const double* A, const double* B, double* C, bool upper_only) {
  const int column_tiles = (n + NR - 1) / NR;
#pragma omp parallel for schedule(dynamic, 4) if (static_cast<double>(m) * n * k > 1e6)
  for (int t = 0; t < column_tiles; ++t) {
    const int j0 = t * NR;
    const int cols = std::min(NR, n - j0);
    const int row_end = upper_only ? std::min(m, j0 + cols) : m;
    for (int i0 = 0; i0 < row_end; i0 += MR) {
      const int rows = std::min(MR, m - i0);
      const double* a = A + i0;
      const double* b = B + static_cast<std::size_t>(j0) * k;
      double* c = C + i0 + static_cast<std::size_t>(j0) * m;
      if (rows == MR && cols == NR) tile(k, a, m, b, k, c, m);
      else edge_tile(rows, cols, k, a, m, b, k, c, m);
    }
  }
}

void transpose(const matrix& A, matrix& T) {
  T = matrix(A.cols(), A.rows());
  for (int j = 0; j < A.cols(); ++j)
    for (int i = 0; i < A.rows(); ++i) T(j, i) = A(i, j);
}

void mirror_upper_to_lower(matrix& C) {
  const int n = C.rows();
  for (int j = 0; j < n; ++j)
    for (int i = j + 1; i < n; ++i) C(i, j) = C(j, i);
}

}  // namespace

void multiply(const matrix& A, const matrix& B, matrix& C) {
  if (C.rows() != A.rows() || C.cols() != B.cols()) C = matrix(A.rows(), B.cols());
  gemm(A.rows(), B.cols(), A.cols(), A.data(), B.data(), C.data(), false);
}

void multiply_transposed_symmetric(const matrix& A, const matrix& B, matrix& C) {
  matrix At;
  transpose(A, At);
  if (C.rows() != A.cols() || C.cols() != B.cols()) C = matrix(A.cols(), B.cols());
  gemm(At.rows(), B.cols(), At.cols(), At.data(), B.data(), C.data(), true);
  mirror_upper_to_lower(C);
}

void weighted_outer_sum(const matrix& C, std::span<const double> weights, matrix& R) {
  const int n = C.rows();
  const int m = static_cast<int>(weights.size());
  if (R.rows() != n || R.cols() != n) R = matrix(n, n);
  if (m == 0) {
    R.fill(0.0);
    return;
  }
  matrix scaled(n, m), occupied_t(m, n);
  for (int k = 0; k < m; ++k)
    for (int i = 0; i < n; ++i) {
      scaled(i, k) = weights[k] * C(i, k);
      occupied_t(k, i) = C(i, k);
    }
  gemm(n, n, m, scaled.data(), occupied_t.data(), R.data(), true);
  mirror_upper_to_lower(R);
}

}  // namespace tbrelax
