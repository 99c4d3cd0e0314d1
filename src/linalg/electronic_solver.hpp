#pragma once
// The seam of the electronic step: one interface that solves the generalised eigenproblem
// H c = eps S c and forms the density matrices of the occupied orbitals. Implementations: our
// own eigensolver (default, no library), LAPACK (build option), CUDA (build option, falling
// back at run time). Everything else calls only this interface.

#include <memory>
#include <string>
#include <vector>

#include "linalg/matrix.hpp"

namespace tbrelax {

// An overlap eigenvalue below zero: its position k (from 1, in ascending order) and value.
struct negative_overlap {
  int index;
  double value;
};

// Which way a solve went (see route_solver.hpp): through the Cholesky factor of S, or by the
// canonical orthogonalisation, which alone reports negative overlap eigenvalues.
enum class electronic_route { canonical, cholesky };
const char* route_name(electronic_route route);  // "canonical", "cholesky"

// Seconds spent in the parts of one solve, for the benchmark.
struct solver_timings {
  double eigen = 0;      // eigendecompositions: both of the canonical route; the Cholesky
                         // route's tridiagonal reduction, tridiagonal solve and back-transformation
  double products = 0;   // canonical: H X, X^T (H X), X C'; Cholesky: the factor, its test, the
                         // reduction to standard form and the back substitution
  double densities = 0;  // P and W
};

struct electronic_result {
  std::vector<double> eps;  // orbital energies, ascending
  matrix P;                 // sum over occupied orbitals of f_k C_k C_k^T
  matrix W;                 // sum over occupied orbitals of f_k eps_k C_k C_k^T
  // Negative overlap eigenvalues, in ascending order. The solver carries on with their
  // absolute values; the caller reports them.
  std::vector<negative_overlap> negative_overlaps;
  electronic_route route = electronic_route::canonical;
  solver_timings timings;
};

class electronic_solver {
 public:
  virtual ~electronic_solver() = default;
  virtual std::string name() const = 0;

  // H and S are full symmetric n x n matrices (both triangles filled) and stay unchanged.
  // The orbitals are filled from the lowest up with `electrons` electrons, two per orbital
  // and one in the last when the count is odd (electrons <= 2n).
  virtual void solve(const matrix& H, const matrix& S, int electrons, electronic_result& out) = 0;
};

// The solver this build offers by default: the GPU one where built and usable for this size,
// else LAPACK where built, else our own.
std::unique_ptr<electronic_solver> make_default_solver();
// Our own eigensolver, always available.
std::unique_ptr<electronic_solver> make_own_solver();
// A solver by name ("own", "lapack", "cuda", "default"); null where this build or this machine
// does not offer it.
std::unique_ptr<electronic_solver> make_solver(const std::string& name);
// The names make_solver accepts in this build, "own" first.
std::vector<std::string> available_solvers();

// Occupation of orbital k (from 0) for `electrons` electrons: 2, then 1 for an odd last one, then 0.
inline double occupation(int k, int electrons) {
  const int doubly = electrons / 2;
  if (k < doubly) return 2.0;
  return (k == doubly && electrons % 2 == 1) ? 1.0 : 0.0;
}
inline int occupied_count(int electrons) { return (electrons + 1) / 2; }

}  // namespace tbrelax
