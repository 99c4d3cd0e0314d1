#include "linalg/standard_form.hpp"

#include "linalg/products.hpp"
#include "linalg/triangular.hpp"

namespace tbrelax {

void reduce_to_standard_form(const matrix& U, const matrix& H, matrix& A) {
  const int n = U.rows();
  A = H;  // reuses A's storage when the order is unchanged
  if (n == 0) return;
  solve_transposed_upper(U, A.data(), n, n);
  transpose_in_place(A);
  solve_transposed_upper_to_upper(U, A.data());
}

}  // namespace tbrelax
