#pragma once
// The electronic solver on LAPACK and BLAS (OpenBLAS). The Cholesky route: dpotrf, dsygst, the
// tridiagonal reduction dsytrd, divide and conquer on the tridiagonal matrix (dstedc), and the
// reflectors (dormtr) and the back substitution (dtrsm) for the occupied orbitals only; P and W
// by our own weighted sums. The canonical route as in lapack_canonical.hpp.

#include <memory>
#include <string>

#include "linalg/electronic_solver.hpp"

namespace tbrelax {

std::unique_ptr<electronic_solver> make_lapack_solver();

// The linked library and its configuration, for reports ("OpenBLAS 0.3.21 ... (core Haswell)").
std::string lapack_description();

// LAPACK's own generalised eigensolver alone (dsygvd: every eigenvalue and eigenvector of
// H c = eps S c), on copies of H and S, returning its seconds: the yardstick of the benchmark.
double time_dsygvd(const matrix& H, const matrix& S);

}  // namespace tbrelax
