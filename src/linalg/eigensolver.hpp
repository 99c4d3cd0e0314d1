#pragma once
// Dense real symmetric eigensolver: Householder tridiagonalisation followed by
// the implicit QL iteration with accumulated transformations.
//
// Matrices are column-major with leading dimension nm >= n; only the leading
// n x n block is read or written. Vectors d and e hold at least n elements.

namespace tbrelax {

// Reduces the symmetric matrix held in v to tridiagonal form T = Q^T A Q.
// Only the lower triangle of v (diagonal included) is read; the strict upper
// triangle may hold anything. On return d holds the diagonal of T, e(i) the
// sub-diagonal element in row i, column i-1 (e[0] = 0), and v holds Q.
void tred2(int nm, int n, double* d, double* e, double* v);

// Diagonalises the tridiagonal matrix (d, e) in the convention left by tred2
// (e[0] is not read), applying the rotations to the columns of v. On return d
// holds the eigenvalues in ascending order and column j of v the eigenvector
// of d[j]. ierr = 0 on success; ierr = l (counted from 1) when eigenvalue l
// failed to converge in 50 iterations, in which case d[0..l-2] are eigenvalues
// but unsorted and the remaining entries of d and v are incomplete.
void tql2(int nm, int n, double* d, double* e, double* v, int& ierr);

// Eigenvalues d and eigenvectors (columns of v) of the symmetric matrix held
// in the lower triangle of v: tred2 then tql2. e is scratch of n elements.
void eisrs1(int nm, int n, double* d, double* v, int& ierr, double* e);

}  // namespace tbrelax
