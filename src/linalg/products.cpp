#include "linalg/products.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "linalg/packed_gemm.hpp"

namespace tbrelax {
namespace {

void shape(matrix& C, int rows, int cols) {
  if (C.rows() != rows || C.cols() != cols) C = matrix(rows, cols);
}

// f(i, j) for every element below the diagonal of an n x n matrix, in blocks (bi, bj), bi >= bj,
// small enough that a block and its transposed partner stay in cache together.
template <class F>
void for_each_lower_element(int n, F f) {
  constexpr int block = 64;
  const int blocks = (n + block - 1) / block;
#pragma omp parallel for schedule(dynamic) if (n > 512)
  for (int bj = 0; bj < blocks; ++bj)
    for (int bi = bj; bi < blocks; ++bi) {
      const int j_end = std::min(n, (bj + 1) * block), i_end = std::min(n, (bi + 1) * block);
      for (int j = bj * block; j < j_end; ++j)
        for (int i = std::max(j + 1, bi * block); i < i_end; ++i) f(i, j);
    }
}

}  // namespace

void multiply(const matrix& A, const matrix& B, matrix& C) {
  if (A.cols() != B.rows()) throw std::invalid_argument("multiply: inner dimensions differ");
  shape(C, A.rows(), B.cols());
  packed_product(A.rows(), B.cols(), A.cols(), {A.data(), A.rows(), false}, {B.data(), B.rows(), false}, nullptr,
                 C.data(), C.rows(), false);
}

void multiply_transposed_symmetric(const matrix& A, const matrix& B, matrix& C) {
  if (A.rows() != B.rows() || A.cols() != B.cols())
    throw std::invalid_argument("multiply_transposed_symmetric: operands differ in shape");
  shape(C, A.cols(), B.cols());
  packed_product(A.cols(), B.cols(), A.rows(), {A.data(), A.rows(), true}, {B.data(), B.rows(), false}, nullptr,
                 C.data(), C.rows(), true);
  mirror_upper_to_lower(C);
}

void weighted_outer_sum(const matrix& C, std::span<const double> weights, matrix& R) {
  const int n = C.rows(), m = static_cast<int>(weights.size());
  if (m > C.cols()) throw std::invalid_argument("weighted_outer_sum: more weights than columns");
  shape(R, n, n);
  packed_product(n, n, m, {C.data(), n, false}, {C.data(), n, true}, weights.data(), R.data(), n, true);
  mirror_upper_to_lower(R);
}

void mirror_upper_to_lower(matrix& M) {
  for_each_lower_element(M.rows(), [&](int i, int j) { M(i, j) = M(j, i); });
}

void transpose_in_place(matrix& M) {
  for_each_lower_element(M.rows(), [&](int i, int j) { std::swap(M(i, j), M(j, i)); });
}

}  // namespace tbrelax
