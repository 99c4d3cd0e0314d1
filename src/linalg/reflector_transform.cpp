// A block of reflectors c in [c0, c1), applied in increasing c, is one matrix
//   B = P_{c1-1} ... P_{c0} = I - V T R^T,
// V holding the u_c and R the u_c / H as columns (column j for c = c1 - 1 - j, zero below row c)
// and T unit upper triangular with T(0:j, j) = -T(0:j, 0:j) R(:, 0:j)^T V(:, j). Then
// B Z = Z - V (T (R^T Z)): three packed products per block, and the cost of the whole
// transformation, n^2 multiply-adds per column, runs at their speed.

#include "linalg/reflector_transform.hpp"

#include <algorithm>

#include "linalg/packed_gemm.hpp"

namespace tbrelax {
namespace {

constexpr int block = 96;  // reflectors per block

}  // namespace

void apply_reflectors_to_columns(int n, const double* v, std::size_t ldv, const double* h, double* Z, std::size_t ldz,
                                 int columns, std::vector<double>& work) {
  if (n < 3 || columns <= 0) return;  // rows 0 and 1 never reflect
  const std::size_t nn = std::size_t(n), bb = std::size_t(block), cols = std::size_t(columns);
  const std::size_t needed = 2 * nn * bb + 2 * bb * bb + 2 * bb * cols;
  if (work.size() < needed) work.resize(needed);
  double* V = work.data();     // len x b
  double* Rt = V + nn * bb;    // b x len: R^T
  double* G = Rt + nn * bb;    // b x b: R^T V, then T
  double* T = G + bb * bb;
  double* W = T + bb * bb;     // b x columns: R^T Z
  double* W2 = W + bb * cols;  // b x columns: T R^T Z
  for (int c0 = 2; c0 < n; c0 += block) {
    const int c1 = std::min(c0 + block, n), b = c1 - c0, len = c1 - 1;
    bool any = false;
    for (int c = c0; c < c1; ++c) any = any || h[c] != 0.0;
    if (!any) continue;
    for (int j = 0; j < b; ++j) {
      const int c = c1 - 1 - j;
      double* vj = V + std::size_t(j) * len;
      const double* u = v + std::size_t(c) * ldv;
      const int rows = h[c] != 0.0 ? c : 0;
      std::copy(u, u + rows, vj);
      std::fill(vj + rows, vj + len, 0.0);
    }
    // R^T column k holds element k of each u_c / H, read as a short run of column k of v.
    for (int k = 0; k < len; ++k) {
      const double* run = v + std::size_t(k) * ldv;
      for (int j = 0; j < b; ++j) {
        const int c = c1 - 1 - j;
        Rt[j + std::size_t(k) * b] = (k < c && h[c] != 0.0) ? run[c] : 0.0;
      }
    }
    packed_product(b, b, len, {Rt, b, false}, {V, len, false}, nullptr, G, b, false);
    std::fill(T, T + bb * bb, 0.0);
    for (int j = 0; j < b; ++j) {
      T[j + std::size_t(j) * b] = 1.0;
      for (int i = 0; i < j; ++i) {
        double s = 0.0;
        for (int m = i; m < j; ++m) s += T[i + std::size_t(m) * b] * G[m + std::size_t(j) * b];
        T[i + std::size_t(j) * b] = -s;
      }
    }
    packed_product(b, columns, len, {Rt, b, false}, {Z, int(ldz), false}, nullptr, W, b, false);
    packed_product(b, columns, b, {T, b, false}, {W, b, false}, nullptr, W2, b, false);
    packed_product(len, columns, b, {V, len, false}, {W2, b, false}, nullptr, Z, int(ldz), false,
                   product_result::subtract);
  }
}

}  // namespace tbrelax
