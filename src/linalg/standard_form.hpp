#pragma once
// The generalised eigenproblem H c = eps S c turned into a standard one through the Cholesky
// factor S = U^T U: with y = U c it reads A y = eps y, A = U^-T H U^-1.

#include "linalg/matrix.hpp"

namespace tbrelax {

// A = U^-T H U^-1 in the upper triangle of A (the strict lower triangle is left undefined), for
// the symmetric H (both triangles filled) and the factor U of cholesky_upper. Two forward
// substitutions: W = U^-T H, then, since A = W U^-1 is symmetric, A = U^-T W^T, of which only the
// upper triangle is formed. Two thirds of n^3 multiply-adds.
void reduce_to_standard_form(const matrix& U, const matrix& H, matrix& A);

}  // namespace tbrelax
