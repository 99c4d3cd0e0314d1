#include "linalg/block_reflector.hpp"

#include <algorithm>

#include "linalg/packed_gemm.hpp"

namespace tbrelax {

void block_reflector_factor(const double* V, int m, int h, const double* tau, double* G, double* T) {
  packed_product(h, h, m, {V, m, true}, {V, m, false}, nullptr, G, h, false);
  std::fill(T, T + std::size_t(h) * h, 0.0);
  for (int j = 0; j < h; ++j) {
    T[j + std::size_t(j) * h] = tau[j];
    for (int i = 0; i < j; ++i) {
      double s = 0.0;
      for (int k = i; k < j; ++k) s += T[i + std::size_t(k) * h] * G[k + std::size_t(j) * h];
      T[i + std::size_t(j) * h] = -tau[j] * s;
    }
  }
}

void apply_block_reflector(const double* V, int m, int h, const double* T, double* Z, std::size_t ldz, int columns,
                           double* W, double* W2) {
  packed_product(h, columns, m, {V, m, true}, {Z, int(ldz), false}, nullptr, W, h, false);
  packed_product(h, columns, h, {T, h, false}, {W, h, false}, nullptr, W2, h, false);
  packed_product(m, columns, h, {V, m, false}, {W2, h, false}, nullptr, Z, int(ldz), false, product_result::subtract);
}

}  // namespace tbrelax
