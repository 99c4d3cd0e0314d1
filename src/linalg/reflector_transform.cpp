// Reflector c is P_c = I - tau_c u_c u_c^T with u_c the column above the diagonal and
// tau_c = 2 / (u_c . u_c) (the row left of the diagonal holds tau_c u_c). A block of them,
// c in [c0, c1) applied in increasing c, is one block reflector P_{c1-1} ... P_{c0}
// (block_reflector.hpp), whose vectors run from c1 - 1 down to c0. Each thread applies every
// block to its own band of the columns, forming the blocks itself: the transformation, n^2
// multiply-adds per column, runs at the speed of the packed products, and no thread waits for
// another until the end.

#include "linalg/reflector_transform.hpp"

#include <algorithm>

#include "linalg/block_reflector.hpp"
#include "linalg/column_bands.hpp"
#include "linalg/eigen_kernels.hpp"

namespace tbrelax {
namespace {

constexpr int block = 96;  // reflectors per block

}  // namespace

void apply_reflectors_to_columns(int n, const double* v, std::size_t ldv, const double* h, double* Z, std::size_t ldz,
                                 int columns, std::vector<double>& work) {
  if (n < 3 || columns <= 0) return;  // rows 0 and 1 never reflect
  const std::size_t nn = std::size_t(n), bb = std::size_t(block), cols = std::size_t(columns);
  // Scratch for each band: V, G, T, tau, and W, W2 for at most all the columns.
  const std::size_t slice = nn * bb + 2 * bb * bb + bb + 2 * bb * cols;
  const std::size_t bands = std::size_t(std::max(1, omp_threads()));
  if (work.size() < bands * slice) work.resize(bands * slice);
  in_column_bands(0, columns, 1, double(n) * n * columns, [&](int first, int last, int band) {
    double* V = work.data() + std::size_t(band) * slice;
    double* G = V + nn * bb;
    double* T = G + bb * bb;
    double* tau = T + bb * bb;
    double* W = tau + bb;
    double* W2 = W + bb * cols;
    for (int c0 = 2; c0 < n; c0 += block) {
      const int c1 = std::min(c0 + block, n), b = c1 - c0, len = c1 - 1;
      bool any = false;
      for (int j = 0; j < b; ++j) {
        const int c = c1 - 1 - j;
        double* vj = V + std::size_t(j) * len;
        const double* u = v + std::size_t(c) * ldv;
        const int rows = h[c] != 0.0 ? c : 0;
        std::copy(u, u + rows, vj);
        std::fill(vj + rows, vj + len, 0.0);
        tau[j] = rows > 0 ? 2.0 / eigen_detail::dot(vj, vj, rows) : 0.0;
        any = any || rows > 0;
      }
      if (!any) continue;
      block_reflector_factor(V, len, b, tau, G, T);
      apply_block_reflector(V, len, b, T, Z + std::size_t(first) * ldz, ldz, last - first, W, W2);
    }
  });
}

}  // namespace tbrelax
