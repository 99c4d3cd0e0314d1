// The density matrices of a Bloch wavevector from its complex orbitals, on the real product engine.
// With C = X + iY and F = diag(f): C F C^H = (X F X^T + Y F Y^T) + i (Y F X^T - X F Y^T). The
// real part is symmetric (its upper triangle formed, then mirrored); the imaginary part is
// M - M^T with M = Y F X^T.

#include <algorithm>
#include <stdexcept>

#include "linalg/hermitian_solver.hpp"
#include "linalg/packed_gemm.hpp"
#include "linalg/products.hpp"

namespace tbrelax {
namespace {

void weighted_hermitian_sum(const complex_matrix& C, const std::vector<double>& weights, complex_matrix& R) {
  const int n = C.rows(), k = int(weights.size());
  if (R.rows() != n || R.cols() != n) R = complex_matrix(n);
  if (k == 0) {
    R.re.fill(0);
    R.im.fill(0);
    return;
  }
  std::vector<double> negated(weights.size());
  std::transform(weights.begin(), weights.end(), negated.begin(), [](double w) { return -w; });
  const gemm_operand X{C.re.data(), n, false}, Xt{C.re.data(), n, true};
  const gemm_operand Y{C.im.data(), n, false}, Yt{C.im.data(), n, true};
  // Adding Y F Y^T is subtracting Y (-F) Y^T: negating a weight is exact.
  packed_product(n, n, k, X, Xt, weights.data(), R.re.data(), n, true);
  packed_product(n, n, k, Y, Yt, negated.data(), R.re.data(), n, true, product_result::subtract);
  mirror_upper_to_lower(R.re);
  packed_product(n, n, k, Y, Xt, weights.data(), R.im.data(), n, false);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < j; ++i) {
      const double a = R.im(i, j) - R.im(j, i);
      R.im(i, j) = a;
      R.im(j, i) = -a;
    }
  for (int i = 0; i < n; ++i) R.im(i, i) = 0;
}

}  // namespace

void hermitian_densities(const hermitian_result& r, const std::vector<double>& f, complex_matrix& P,
                         complex_matrix& W) {
  if (f.size() > std::size_t(r.C.cols()))
    throw std::invalid_argument("hermitian_densities: more occupations than orbitals");
  std::size_t used = f.size();
  while (used > 0 && f[used - 1] == 0) --used;
  std::vector<double> weights(f.begin(), f.begin() + used), energies(used);
  for (std::size_t k = 0; k < used; ++k) energies[k] = f[k] * r.eps[k];
  weighted_hermitian_sum(r.C, weights, P);
  weighted_hermitian_sum(r.C, energies, W);
}

}  // namespace tbrelax
