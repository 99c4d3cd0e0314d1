#pragma once
// The LAPACK and BLAS routines of the LAPACK solver, through their Fortran interface (32-bit
// integers, column-major, every argument by address, the lengths of character arguments last).

#include <cstddef>

extern "C" {
void dsyevd_(const char* jobz, const char* uplo, const int* n, double* a, const int* lda, double* w, double* work,
             const int* lwork, int* iwork, const int* liwork, int* info, std::size_t, std::size_t);
void dgemm_(const char* transa, const char* transb, const int* m, const int* n, const int* k, const double* alpha,
            const double* a, const int* lda, const double* b, const int* ldb, const double* beta, double* c,
            const int* ldc, std::size_t, std::size_t);
}

namespace tbrelax::lapack {

// C(m x n) = alpha op(A) op(B) + beta C, op = 'N' or 'T'.
inline void gemm(char ta, char tb, int m, int n, int k, double alpha, const double* A, int lda, const double* B,
                 int ldb, double beta, double* C, int ldc) {
  if (m <= 0 || n <= 0) return;
  dgemm_(&ta, &tb, &m, &n, &k, &alpha, A, &lda, B, &ldb, &beta, C, &ldc, 1, 1);
}

}  // namespace tbrelax::lapack
