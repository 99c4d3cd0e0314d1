#pragma once
// The generalised symmetric eigenproblem H c = eps S c by canonical orthogonalisation, on our
// own eigensolver.

#include <vector>

#include "linalg/electronic_solver.hpp"
#include "linalg/eigensolver.hpp"
#include "linalg/matrix.hpp"

namespace tbrelax {

// Diagonalises S = U diag(s) U^T, forms X = U diag(1/sqrt|s|) (no eigenvalue dropped, no
// threshold), diagonalises X^T H X = C' diag(eps) C'^T and returns C = X C', whose columns are
// S-orthonormal, with eps ascending. Negative overlap eigenvalues are recorded and replaced by
// their absolute values. H and S are only read. A zero overlap eigenvalue divides by zero: the
// energy is then not finite, which the relaxation reports.
// Matrices of one solve, kept by a caller that solves again and again at the same order so that
// they are not allocated and faulted in anew every time.
struct orthogonalisation_workspace {
  matrix X, T, orthogonal_h;
  std::vector<double> scratch;
  eigen_workspace eigen;
};

void enonort(std::vector<double>& eps, const matrix& H, const matrix& S, matrix& C,
             std::vector<negative_overlap>& negatives, solver_timings* timings = nullptr,
             orthogonalisation_workspace* workspace = nullptr);

}  // namespace tbrelax
