#pragma once
// The two routes through H c = eps S c, and the choice between them, shared by every solver.
//
// The Cholesky route: S = U^T U; A = U^-T H U^-1; A y = eps y for every eigenvalue but only the
// vectors of the occupied orbitals; C = U^-1 y; P and W from C. One eigendecomposition where the
// canonical route needs two and three full products.
// The canonical route: the model's own definition (diagonalise S, orthonormalise, diagonalise
// the transformed H), which reports every negative overlap eigenvalue.
// Both give the same orbital energies, P and W up to rounding wherever S is positive definite.
// A solver takes the Cholesky route where its factor passes the check of
// overlap_definiteness.hpp, and the canonical one otherwise, or where the Cholesky route's
// eigensolver fails. Solvers implement the steps below; the order of the steps and the choice
// live here alone.

#include <vector>

#include "linalg/electronic_solver.hpp"

namespace tbrelax {

class route_solver : public electronic_solver {
 public:
  void solve(const matrix& H, const matrix& S, int electrons, electronic_result& out) final;

 protected:
  // S = U^T U, keeping the factor; pivots[j] = U(j, j)^2. False at a pivot that is not positive.
  virtual bool factor_overlap(const matrix& S, std::vector<double>& pivots, solver_timings& timings) = 0;
  // x := S^-1 x through the factor.
  virtual void solve_with_overlap(std::vector<double>& x) = 0;
  // Every orbital energy, ascending, into eps, and the lowest `orbitals` orbitals through the
  // factor, kept for densities(). False where the eigensolver fails.
  virtual bool occupied_orbitals(const matrix& H, int orbitals, std::vector<double>& eps, solver_timings& timings) = 0;
  // out.P and out.W from those orbitals and out.eps.
  virtual void densities(int electrons, electronic_result& out) = 0;
  // The whole canonical route into out, negative overlap eigenvalues included; it adds its
  // times to out.timings.
  virtual void solve_canonical(const matrix& H, const matrix& S, int electrons, electronic_result& out) = 0;

 private:
  bool try_cholesky(const matrix& H, const matrix& S, int electrons, electronic_result& out);
  std::vector<double> pivots_;
};

}  // namespace tbrelax
