#pragma once
// Every eigenvalue of a symmetric matrix and the eigenvectors of the lowest few: reduction to
// tridiagonal form, divide and conquer on the tridiagonal matrix for the vectors asked for, and
// the reduction's reflectors applied to those vectors alone. The reduction is direct
// (Householder, eigen_reduce.cpp) for moderate orders and goes through a band for large ones,
// where the direct reduction is bound by memory.

#include <functional>
#include <vector>

#include "linalg/band_reduction.hpp"
#include "linalg/bulge_chasing.hpp"
#include "linalg/eigensolver.hpp"
#include "linalg/matrix.hpp"
#include "linalg/tridiagonal_eigen.hpp"

namespace tbrelax {

enum class tridiagonal_reduction { direct, through_band };

// The reduction chosen for order n: through the band from the order where it was measured to
// be faster.
tridiagonal_reduction reduction_for_order(int n);

// Storage kept between calls at one order.
struct subset_eigen_workspace {
  std::vector<double> norms, sub, diagonal, off;
  eigen_workspace eigen;
  tridiagonal_workspace tridiagonal;
  band_reduction band;
  bulge_chase chase;
};

// A (n x n) holds the symmetric matrix in its upper triangle and is overwritten. Every
// eigenvalue, ascending, into values (n), and the orthonormal eigenvectors of the lowest
// `vectors` into Z, which is shaped n x vectors. False where the tridiagonal eigensolver fails.
// With `keep`, the eigenvectors that are transformed back are only those of the columns it
// returns (ascending, below `vectors`), chosen once every eigenvalue is in values: they come
// first in Z, in that order, and Z's other columns are left undefined.
using column_choice = std::function<std::vector<int>(const double* values)>;
bool subset_eigensolver(matrix& A, int vectors, double* values, matrix& Z, subset_eigen_workspace& w,
                        tridiagonal_reduction how, const column_choice& keep = {});

}  // namespace tbrelax
