#pragma once
// The canonical route on LAPACK and BLAS: both symmetric eigendecompositions by divide and
// conquer (dsyevd), the products by dgemm, P and W by our own weighted sums.

#include <vector>

#include "linalg/electronic_solver.hpp"

namespace tbrelax::lapack {

class canonical_route {
 public:
  // As electronic_solver::solve, adding to out.timings.
  void solve(const matrix& H, const matrix& S, int electrons, electronic_result& out);

 private:
  void prepare(int n);
  void eigen(matrix& A, std::vector<double>& w);

  matrix X_, T_, orthogonal_h_;
  std::vector<double> s_, work_;
  std::vector<int> iwork_;
};

// OpenBLAS keeps threads of its own; before each solve their count is matched to OpenMP's for
// basis sizes where they pay (one thread below).
void match_blas_threads(int n);

}  // namespace tbrelax::lapack
