#pragma once
// A product of Householder reflectors H_0 H_1 ... H_{h-1}, H_i = I - tau_i v_i v_i^T, held as one
// block I - V T V^T (the compact WY form), so that applying it is three packed products.

#include <cstddef>

namespace tbrelax {

// T (h x h, upper triangular) of the block for the m x h matrix V of the vectors (column i is
// v_i): T(i, i) = tau_i, T(0:i, i) = -tau_i T(0:i, 0:i) V(:, 0:i)^T v_i. G is scratch of h x h.
void block_reflector_factor(const double* V, int m, int h, const double* tau, double* G, double* T);

// Z := (I - V T V^T) Z for the m rows of Z (leading dimension ldz) and its `columns` columns.
// W and W2 are scratch of h x columns each.
void apply_block_reflector(const double* V, int m, int h, const double* T, double* Z, std::size_t ldz, int columns,
                           double* W, double* W2);

}  // namespace tbrelax
