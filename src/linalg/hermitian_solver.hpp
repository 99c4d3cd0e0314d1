#pragma once
// The generalised Hermitian eigenproblem H c = eps S c of a Bloch wavevector: H, S complex
// Hermitian n x n, S positive definite. Every eigenvalue, ascending, and the S-orthonormal
// eigenvectors of the lowest ones; and the density matrices of given occupations.
//
// Our own solver works on the real symmetric embedding of order 2n: the matrix A + iB stands for
// [[A, -B], [B, A]], and (x + iy) for the real vectors (x; y) and (-y; x). The embedded problem is
// solved by the real electronic solver's kernels (the Cholesky route; the canonical one where the
// overlap is too close to singular for the factor to be trusted), each eigenvalue coming out
// twice. Exact and simple, at about 8 times the arithmetic of a real solve of order n (a native
// complex solver would need 4 times).
// The LAPACK build adds zhegvd's family (name "lapack"), which is then the default.

#include <memory>
#include <string>
#include <vector>

#include "linalg/complex_matrix.hpp"

namespace tbrelax {

struct hermitian_result {
  std::vector<double> eps;  // every eigenvalue, ascending
  complex_matrix C;         // n x m: the S-orthonormal eigenvectors of the lowest m, m >= the count asked for
};

class hermitian_solver {
 public:
  virtual ~hermitian_solver() = default;
  virtual std::string name() const = 0;
  // Every eigenvalue, and the eigenvectors of the lowest `vectors` (all where negative or above
  // n). H and S are full Hermitian matrices (both triangles filled) and stay unchanged. Throws
  // numerical_error where S is not positive definite (an overlap eigenvalue at or below zero)
  // or the eigensolver fails. A solver keeps its storage between calls: one per thread.
  virtual void solve(const complex_matrix& H, const complex_matrix& S, int vectors, hermitian_result& out) = 0;
};

// "own", "default" (LAPACK where built, else own) or "lapack"; null for a name this build lacks.
std::unique_ptr<hermitian_solver> make_hermitian_solver(const std::string& name = "default");

// One solve with every eigenvector, by the default solver.
void solve_hermitian(const complex_matrix& H, const complex_matrix& S, hermitian_result& out);

// P = sum_n f_n c_n c_n^H and W = sum_n f_n eps_n c_n c_n^H over the columns of r.C with f_n
// non-zero, both Hermitian, both triangles filled. More occupations than columns of r.C is
// std::invalid_argument.
void hermitian_densities(const hermitian_result& r, const std::vector<double>& f, complex_matrix& P, complex_matrix& W);

}  // namespace tbrelax
