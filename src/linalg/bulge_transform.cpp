// The chase's reflectors applied to the eigenvectors by blocks. Reflector (c, k) acts on rows
// c + 1 + k b onwards, so those of nb neighbouring sweeps with the same k cover a window of
// b + nb - 1 rows and make one block. Applying Q = prod_c prod_k H(c, k) means the last sweep
// first and, within a sweep, the last reflector first; two reflectors commute unless their rows
// overlap, which within a group happens only for the same k, or for k and k + 1 where the
// later sweep's reflector at k comes first. So the groups go from the last down, and within a
// group k goes up, each block applying its later sweeps first: the same result as one
// reflector at a time, at the speed of the packed products.

#include <algorithm>

#include "linalg/block_reflector.hpp"
#include "linalg/bulge_chasing.hpp"
#include "linalg/column_bands.hpp"

namespace tbrelax {
namespace {

constexpr int group_fraction = 2;  // a group holds width / group_fraction sweeps
// Columns of the eigenvectors transformed together: they stay in cache while every block passes.
constexpr int column_block = 256;

}  // namespace

void apply_bulge_reflectors(bulge_chase& r, double* Z, std::size_t ldz, int columns) {
  const int n = r.n, b = r.width, sweeps = n - 2;
  if (sweeps <= 0 || columns <= 0) return;
  const int nb = std::max(1, b / group_fraction), rows = b + nb - 1;
  in_column_blocks(columns, column_block, double(n) * n * columns, [&](int first, int last, std::vector<double>& scratch) {
    const int count = last - first;
    scratch.resize(std::size_t(rows) * nb + 2 * std::size_t(nb) * nb + 2 * std::size_t(nb) * count + nb);
    double* V = scratch.data();
    double* G = V + std::size_t(rows) * nb;
    double* T = G + std::size_t(nb) * nb;
    double* W = T + std::size_t(nb) * nb;
    double* W2 = W + std::size_t(nb) * count;
    double* tau = W2 + std::size_t(nb) * count;
    for (int c1 = sweeps; c1 > 0;) {
      const int c0 = std::max(0, c1 - nb);
      for (int k = 0; c0 + 1 + k * b < n; ++k) {
        const int top = c0 + 1 + k * b;
        int members = 0, bottom = top;
        bool any = false;
        for (int c = c0; c < c1 && c + 1 + k * b < n; ++c, ++members) {
          const int s = c + 1 + k * b, len = std::min(b, n - s);
          tau[members] = r.tau[r.first[c] + k];
          any = any || tau[members] != 0.0;
          bottom = std::max(bottom, s + len);
        }
        if (!any) continue;
        const int m = bottom - top;
        for (int j = 0; j < members; ++j) {
          const int s = c0 + j + 1 + k * b, len = std::min(b, n - s);
          double* v = V + std::size_t(j) * m;
          std::fill(v, v + m, 0.0);
          const double* source = r.vectors.data() + (r.first[c0 + j] + k) * std::size_t(b);
          std::copy(source, source + len, v + (s - top));
        }
        block_reflector_factor(V, m, members, tau, G, T);
        apply_block_reflector(V, m, members, T, Z + top + std::size_t(first) * ldz, ldz, count, W, W2);
      }
      c1 = c0;
    }
  });
}

}  // namespace tbrelax
