#include "linalg/backends/lapack/lapack_products.hpp"

#include <algorithm>
#include <cstddef>

#include "linalg/backends/lapack/lapack_calls.hpp"

namespace tbrelax::lapack {

void upper_product(int n, int k, char ta, const double* A, int lda, char tb, const double* B, int ldb, double* C,
                   int ldc) {
  // Block columns wide enough for dgemm to run at full speed; the diagonal blocks cost n * block
  // extra multiply-adds per row over the triangle.
  const int block = std::max(128, n / 8);
  for (int j0 = 0; j0 < n; j0 += block) {
    const int jb = std::min(block, n - j0);
    const double* b = tb == 'N' ? B + static_cast<std::size_t>(j0) * ldb : B + j0;
    gemm(ta, tb, j0 + jb, jb, k, 1.0, A, lda, b, ldb, 0.0, C + static_cast<std::size_t>(j0) * ldc, ldc);
  }
}

}  // namespace tbrelax::lapack
