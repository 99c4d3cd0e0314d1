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
void dpotrf_(const char* uplo, const int* n, double* a, const int* lda, int* info, std::size_t);
void dpotrs_(const char* uplo, const int* n, const int* nrhs, const double* a, const int* lda, double* b, const int* ldb,
             int* info, std::size_t);
void dsygst_(const int* itype, const char* uplo, const int* n, double* a, const int* lda, const double* b,
             const int* ldb, int* info, std::size_t);
void dsytrd_(const char* uplo, const int* n, double* a, const int* lda, double* d, double* e, double* tau, double* work,
             const int* lwork, int* info, std::size_t);
void dstedc_(const char* compz, const int* n, double* d, double* e, double* z, const int* ldz, double* work,
             const int* lwork, int* iwork, const int* liwork, int* info, std::size_t);
void dormtr_(const char* side, const char* uplo, const char* trans, const int* m, const int* n, const double* a,
             const int* lda, const double* tau, double* c, const int* ldc, double* work, const int* lwork, int* info,
             std::size_t, std::size_t, std::size_t);
void dtrsm_(const char* side, const char* uplo, const char* transa, const char* diag, const int* m, const int* n,
            const double* alpha, const double* a, const int* lda, double* b, const int* ldb, std::size_t, std::size_t,
            std::size_t, std::size_t);
void dsygvd_(const int* itype, const char* jobz, const char* uplo, const int* n, double* a, const int* lda, double* b,
             const int* ldb, double* w, double* work, const int* lwork, int* iwork, const int* liwork, int* info,
             std::size_t, std::size_t);
}

namespace tbrelax::lapack {

// C(m x n) = alpha op(A) op(B) + beta C, op = 'N' or 'T'.
inline void gemm(char ta, char tb, int m, int n, int k, double alpha, const double* A, int lda, const double* B,
                 int ldb, double beta, double* C, int ldc) {
  if (m <= 0 || n <= 0) return;
  dgemm_(&ta, &tb, &m, &n, &k, &alpha, A, &lda, B, &ldb, &beta, C, &ldc, 1, 1);
}

// The workspace size a routine asks for in a query (lwork = -1), as a count.
inline int queried_size(double reported) { return static_cast<int>(reported) + 1; }

}  // namespace tbrelax::lapack
