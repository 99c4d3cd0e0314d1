#pragma once
// Dense products of the electronic step, blocked for the caches and threaded.

#include <span>

#include "linalg/matrix.hpp"

namespace tbrelax {

// C = A B (all n x n).
void multiply(const matrix& A, const matrix& B, matrix& C);

// C = A^T B for a symmetric result: only the upper triangle is computed, then mirrored.
void multiply_transposed_symmetric(const matrix& A, const matrix& B, matrix& C);

// R = sum over k < weights.size() of weights[k] C_k C_k^T, with C_k column k of C. R is full.
void weighted_outer_sum(const matrix& C, std::span<const double> weights, matrix& R);

}  // namespace tbrelax
