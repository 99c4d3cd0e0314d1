#pragma once
// The eigenvectors of the tridiagonal matrix carried back to those of the full matrix it was
// reduced from: Z := Q Z with Q the product of the Householder reflectors of the reduction,
// applied a block of reflectors at a time as one low-rank update, so that the work runs on the
// packed products.

#include <cstddef>
#include <vector>

namespace tbrelax {

// v (n x n, leading dimension ldv) as householder_reduce leaves it: for each row c with a
// reflection (h[c] != 0), u_c in column c above the diagonal and u_c / H in row c left of it,
// the reflector being P_c = I - u_c (u_c / H)^T on rows [0, c). Q = P_{n-1} ... P_2, so that
// Q z applies P_2 first. Z has n rows, `columns` columns, leading dimension ldz. work is kept
// by the caller between calls.
void apply_reflectors_to_columns(int n, const double* v, std::size_t ldv, const double* h, double* Z, std::size_t ldz,
                                 int columns, std::vector<double>& work);

}  // namespace tbrelax
