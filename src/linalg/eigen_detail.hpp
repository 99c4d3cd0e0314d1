#pragma once
// The two halves of the Householder tridiagonalisation, shared between the
// eigensolver sources.

#include "linalg/eigensolver.hpp"

namespace tbrelax::eigen_detail {

// Reduces the matrix in the lower triangle of v to tridiagonal form. On return
// e[1..n-1] holds the sub-diagonal, d[i] the norm factor H of reflector i
// (exactly 0 where row i needed no reflection), the diagonal of v the reduced
// diagonal, column i above the diagonal the Householder vector u of row i and
// row i left of the diagonal u / H. Needs n >= 2. With from_upper the matrix is read from the
// upper triangle of v instead (the strict lower triangle may hold anything).
void householder_reduce(int nm, int n, double* d, double* e, double* v, eigen_workspace& workspace,
                        bool from_upper = false);

// Turns the reflectors stored by householder_reduce into the orthogonal matrix
// Q in v and moves the reduced diagonal into d.
void accumulate_reflectors(int nm, int n, double* d, double* v, eigen_workspace& workspace);

}  // namespace tbrelax::eigen_detail
