#pragma once
// Products of the LAPACK solver on BLAS, for symmetric results whose upper triangle is all
// that is needed: the block columns are multiplied down to the diagonal only.

namespace tbrelax::lapack {

// Upper triangle (and some elements below it, in the diagonal blocks) of C = op(A) op(B) with
// op(A) n x k, op(B) k x n; op is 'N' (as stored) or 'T' (transposed), column-major storage.
void upper_product(int n, int k, char ta, const double* A, int lda, char tb, const double* B, int ldb, double* C,
                   int ldc);

}  // namespace tbrelax::lapack
