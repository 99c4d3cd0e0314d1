#include "linalg/canonical_orthogonalisation.hpp"

#include <cmath>

#include "linalg/products.hpp"
#include "linalg/stopwatch.hpp"

namespace tbrelax {
namespace {

// Eigenvalues into eps, eigenvectors into A, in place. The convergence flag is not examined:
// a matrix on which QL fails after 50 iterations leaves its partial result, as the model does.
void eigen_in_place(matrix& A, std::vector<double>& eps, std::vector<double>& scratch, eigen_workspace& workspace) {
  const int n = A.rows();
  int ierr = 0;
  tred2(n, n, eps.data(), scratch.data(), A.data(), workspace);
  tql2(n, n, eps.data(), scratch.data(), A.data(), ierr, workspace);
}

}  // namespace

void enonort(std::vector<double>& eps, const matrix& H, const matrix& S, matrix& C,
             std::vector<negative_overlap>& negatives, solver_timings* timings, orthogonalisation_workspace* workspace) {
  const int n = S.rows();
  eps.assign(n, 0.0);
  negatives.clear();
  if (C.rows() != n || C.cols() != n) C = matrix(n, n);
  if (n == 0) return;
  orthogonalisation_workspace local_workspace;
  orthogonalisation_workspace& w = workspace ? *workspace : local_workspace;
  std::vector<double>& scratch = w.scratch;
  scratch.resize(n);
  matrix& X = w.X;
  solver_timings local;

  auto start = stopwatch_clock::now();
  X = S;  // reuses X's storage when the order is unchanged
  eigen_in_place(X, eps, scratch, w.eigen);
  local.eigen += seconds_since(start);

  for (int k = 0; k < n; ++k) {
    if (eps[k] < 0) {
      negatives.push_back({k + 1, eps[k]});
      eps[k] = -eps[k];
    }
    const double root = std::sqrt(eps[k]);
    double* column = X.col(k);
    for (int j = 0; j < n; ++j) column[j] = column[j] / root;
  }

  start = stopwatch_clock::now();
  matrix& T = w.T;
  matrix& orthogonal_h = w.orthogonal_h;
  multiply(H, X, T);
  multiply_transposed_symmetric(X, T, orthogonal_h);
  local.products += seconds_since(start);

  start = stopwatch_clock::now();
  eigen_in_place(orthogonal_h, eps, scratch, w.eigen);
  local.eigen += seconds_since(start);

  start = stopwatch_clock::now();
  multiply(X, orthogonal_h, C);
  local.products += seconds_since(start);

  if (timings) {
    timings->eigen += local.eigen;
    timings->products += local.products;
  }
}

}  // namespace tbrelax
