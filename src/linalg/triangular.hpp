#pragma once
// The Cholesky factorisation S = U^T U of a symmetric positive definite matrix and the
// triangular solves with its factor. U is upper triangular, so that every column of U that a
// solve reads is contiguous. The work is split recursively until the blocks fit in cache, and
// the products between the blocks run on the packed, threaded engine (packed_gemm.hpp): the
// results do not depend on the number of threads.

#include <vector>

#include "linalg/matrix.hpp"

namespace tbrelax {

// Factors the symmetric matrix held in the upper triangle of U, in place: on return the upper
// triangle holds U with S = U^T U; the strict lower triangle is left undefined. pivots[j]
// receives pivot j as computed (the square of U(j, j)). Stops and returns false at the first
// pivot that is not positive (or not a number): S is then not positive definite as far as the
// arithmetic can tell.
bool cholesky_upper(matrix& U, std::vector<double>& pivots);

// B := U^-T B (forward substitution) for the `columns` columns of B, which has n = U.rows()
// rows and leading dimension ldb. Only the upper triangle of U is read.
void solve_transposed_upper(const matrix& U, double* B, int ldb, int columns);

// B := U^-1 B (back substitution), likewise.
void solve_upper(const matrix& U, double* B, int ldb, int columns);

// The upper triangle of X = U^-T B for the n x n matrix B (leading dimension n), in place: rows
// 0..i of column i of a forward substitution depend on rows 0..i of B alone, so the elements
// below the diagonal are not formed (they are left undefined). A sixth of the work of a full
// solve.
void solve_transposed_upper_to_upper(const matrix& U, double* B);

// x := U^-T x and x := U^-1 x for one vector of U.rows() elements.
void solve_transposed_upper(const matrix& U, std::vector<double>& x);
void solve_upper(const matrix& U, std::vector<double>& x);

}  // namespace tbrelax
