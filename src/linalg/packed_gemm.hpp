#pragma once
// The engine of the dense products: C = op(A) diag(w) op(B) with both operands packed into
// cache-sized blocks and the result built from register tiles (gemm_kernel.hpp), each thread
// on its own band of columns. Every element of C is summed over the inner dimension in
// increasing order, in blocks of a fixed length, whatever the thread count: the result does not
// depend on it.

namespace tbrelax {

// A column-major operand with leading dimension ld: element (i, k) of op(M) is M[i + k ld], or
// M[k + i ld] when transposed.
struct gemm_operand {
  const double* data;
  int ld;
  bool transposed;
};

// What the product does with C: replaces it, or is subtracted from it (the updates of the
// blocked factorisations and triangular solves). Subtracting takes each block of the inner
// dimension off C in turn, in increasing order.
enum class product_result { overwrite, subtract };

// C(0:m, 0:n) = op(A) diag(weights) op(B), or C -= op(A) diag(weights) op(B), op(A) m x k,
// op(B) k x n, C with leading dimension ldc; weights null for none, else k values. With
// upper_only, only the register tiles that reach the upper triangle (i <= j) are formed:
// elements below the diagonal are either left as they were or changed, and the caller mirrors
// or ignores them. C must not overlap A or B.
void packed_product(int m, int n, int k, gemm_operand A, gemm_operand B, const double* weights, double* C, int ldc,
                    bool upper_only, product_result result = product_result::overwrite);

}  // namespace tbrelax
