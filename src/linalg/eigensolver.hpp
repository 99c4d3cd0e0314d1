#pragma once
// Dense real symmetric eigensolver: Householder tridiagonalisation followed by
// the implicit QL iteration with accumulated transformations.
//
// Matrices are column-major with leading dimension nm >= n; only the leading
// n x n block is read or written. Vectors d and e hold at least n elements.

#include <cstddef>
#include <vector>

#include "linalg/huge_page_allocator.hpp"

namespace tbrelax {

// Scratch storage of tred2 and tql2. A caller that solves again and again keeps
// one and passes it to every call, so that the storage is allocated, and its
// pages mapped, once; the calls without one allocate their own each time.
class eigen_workspace {
 public:
  // Room for count doubles; what the room held before is lost.
  double* doubles(std::size_t count) {
    if (storage_.size() < count) storage_ = std::vector<double, huge_page_allocator<double>>(count);
    return storage_.data();
  }

 private:
  std::vector<double, huge_page_allocator<double>> storage_;
};

// Reduces the symmetric matrix held in v to tridiagonal form T = Q^T A Q.
// Only the lower triangle of v (diagonal included) is read; the strict upper
// triangle may hold anything. On return d holds the diagonal of T, e(i) the
// sub-diagonal element in row i, column i-1 (e[0] = 0), and v holds Q.
void tred2(int nm, int n, double* d, double* e, double* v);
void tred2(int nm, int n, double* d, double* e, double* v, eigen_workspace& workspace);

// Diagonalises the tridiagonal matrix (d, e) in the convention left by tred2
// (e[0] is not read), applying the rotations to the columns of v. On return d
// holds the eigenvalues in ascending order and column j of v the eigenvector
// of d[j]. ierr = 0 on success; ierr = l (counted from 1) when eigenvalue l
// failed to converge in 50 iterations, in which case d[0..l-2] are eigenvalues
// but unsorted and the remaining entries of d and v are incomplete.
void tql2(int nm, int n, double* d, double* e, double* v, int& ierr);
void tql2(int nm, int n, double* d, double* e, double* v, int& ierr, eigen_workspace& workspace);

// Eigenvalues d and eigenvectors (columns of v) of the symmetric matrix held
// in the lower triangle of v: tred2 then tql2. e is scratch of n elements.
void eisrs1(int nm, int n, double* d, double* v, int& ierr, double* e);

}  // namespace tbrelax
