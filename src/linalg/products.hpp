#pragma once
// Dense products of the electronic step, on the packed, cache-blocked and threaded engine of
// packed_gemm.hpp. No operand is transposed in memory: the packing reads it as it lies.

#include <span>

#include "linalg/matrix.hpp"

namespace tbrelax {

// C = A B.
void multiply(const matrix& A, const matrix& B, matrix& C);

// C = A^T B for a symmetric result: only the upper triangle is computed, then mirrored.
void multiply_transposed_symmetric(const matrix& A, const matrix& B, matrix& C);

// R = sum over k < weights.size() of weights[k] C_k C_k^T, with C_k column k of C: the
// symmetric rank-k product of the leading columns, upper triangle computed, then mirrored.
void weighted_outer_sum(const matrix& C, std::span<const double> weights, matrix& R);

// M(i, j) = M(j, i) for i > j, in cache-sized blocks.
void mirror_upper_to_lower(matrix& M);

// M := M^T for a square matrix, in place, in cache-sized blocks.
void transpose_in_place(matrix& M);

}  // namespace tbrelax
