#include "linalg/standard_form.hpp"

#include <algorithm>
#include <utility>

#include "linalg/triangular.hpp"

namespace tbrelax {

void transpose_in_place(matrix& M) {
  constexpr int block = 64;  // a pair of blocks stays in cache while their elements trade places
  const int n = M.rows();
  const int blocks = (n + block - 1) / block;
#pragma omp parallel for schedule(dynamic) if (n > 512)
  for (int bj = 0; bj < blocks; ++bj)
    for (int bi = bj; bi < blocks; ++bi) {
      const int j_end = std::min(n, (bj + 1) * block), i_end = std::min(n, (bi + 1) * block);
      for (int j = bj * block; j < j_end; ++j)
        for (int i = std::max(j + 1, bi * block); i < i_end; ++i) std::swap(M(i, j), M(j, i));
    }
}

void reduce_to_standard_form(const matrix& U, const matrix& H, matrix& A) {
  const int n = U.rows();
  A = H;  // reuses A's storage when the order is unchanged
  if (n == 0) return;
  solve_transposed_upper(U, A.data(), n, n);
  transpose_in_place(A);
  solve_transposed_upper_to_upper(U, A.data());
}

}  // namespace tbrelax
