#pragma once
// The BLACS and ScaLAPACK routines the distributed solver calls (Fortran linkage).

#include <mpi.h>

extern "C" {
int Csys2blacs_handle(MPI_Comm comm);
void Cblacs_gridinit(int* context, const char* order, int rows, int cols);
void Cblacs_gridinfo(int context, int* rows, int* cols, int* row, int* col);
void Cblacs_gridexit(int context);

int numroc_(const int* n, const int* nb, const int* iproc, const int* isrcproc, const int* nprocs);
void descinit_(int* desc, const int* m, const int* n, const int* mb, const int* nb, const int* irsrc,
               const int* icsrc, const int* ictxt, const int* lld, int* info);
void pdpotrf_(const char* uplo, const int* n, double* a, const int* ia, const int* ja, const int* desca, int* info);
void pdpocon_(const char* uplo, const int* n, const double* a, const int* ia, const int* ja, const int* desca,
              const double* anorm, double* rcond, double* work, const int* lwork, int* iwork, const int* liwork,
              int* info);
void pdsyngst_(const int* ibtype, const char* uplo, const int* n, double* a, const int* ia, const int* ja,
               const int* desca, const double* b, const int* ib, const int* jb, const int* descb, double* scale,
               double* work, const int* lwork, int* info);
void pdtrsm_(const char* side, const char* uplo, const char* transa, const char* diag, const int* m, const int* n,
             const double* alpha, const double* a, const int* ia, const int* ja, const int* desca, double* b,
             const int* ib, const int* jb, const int* descb);
void pdgemm_(const char* transa, const char* transb, const int* m, const int* n, const int* k, const double* alpha,
             const double* a, const int* ia, const int* ja, const int* desca, const double* b, const int* ib,
             const int* jb, const int* descb, const double* beta, double* c, const int* ic, const int* jc,
             const int* descc);
void pdsyrk_(const char* uplo, const char* trans, const int* n, const int* k, const double* alpha, const double* a,
             const int* ia, const int* ja, const int* desca, const double* beta, double* c, const int* ic,
             const int* jc, const int* descc);
void pdtran_(const int* m, const int* n, const double* alpha, const double* a, const int* ia, const int* ja,
             const int* desca, const double* beta, double* c, const int* ic, const int* jc, const int* descc);
}
