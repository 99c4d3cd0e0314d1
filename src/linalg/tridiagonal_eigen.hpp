#pragma once
// Eigenvalues and eigenvectors of a symmetric tridiagonal matrix by divide and conquer: the
// matrix is cut into blocks small enough for the QL iteration, and the blocks' solutions are
// merged pairwise through rank-one updates (dc_detail.hpp). Every eigenvalue comes out, the
// eigenvectors only for the lowest ones asked for.

#include <vector>

namespace tbrelax {

// Storage kept between calls by a caller that solves again and again at one order.
struct tridiagonal_workspace {
  std::vector<double> q;        // the blocks' eigenvectors, n x n
  std::vector<double> scratch;  // the merges' work
  std::vector<double> values, off;
};

// For the n x n matrix with diagonal d[0..n) and off-diagonal e[0..n-1) (e[i] couples rows i
// and i + 1): every eigenvalue, ascending, into values, and the orthonormal eigenvectors of the
// lowest `vectors` into the columns of Z (leading dimension ldz). The result does not depend on
// the number of threads. False when the QL iteration of a block fails to converge.
bool tridiagonal_eigen(int n, const double* d, const double* e, int vectors, double* values, double* Z, int ldz,
                       tridiagonal_workspace& workspace);

}  // namespace tbrelax
