#pragma once
// The Hermitian eigenproblem of a k-point on LAPACK: the Cholesky factor (zpotrf), the standard
// form (zhegst), the reduction to a real tridiagonal matrix (zhetrd), divide and conquer on it
// (dstedc, real), and the reflectors and the factor applied to the vectors asked for alone
// (zunmtr, ztrsm): the steps of the real LAPACK solver in complex arithmetic.

#include <memory>

#include "linalg/hermitian_solver.hpp"

namespace tbrelax {

std::unique_ptr<hermitian_solver> make_lapack_hermitian_solver();

}  // namespace tbrelax
