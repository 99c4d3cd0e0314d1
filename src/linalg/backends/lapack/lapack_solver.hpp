#pragma once
// The electronic solver on LAPACK and BLAS (OpenBLAS): the same canonical orthogonalisation as
// our own solver, with both symmetric eigendecompositions by divide and conquer (dsyevd), the
// products by dgemm; P and W by the same weighted sums as our own solver.

#include <memory>
#include <string>

#include "linalg/electronic_solver.hpp"

namespace tbrelax {

std::unique_ptr<electronic_solver> make_lapack_solver();

// The linked library and its configuration, for reports ("OpenBLAS 0.3.21 ... (core Haswell)").
std::string lapack_description();

}  // namespace tbrelax
