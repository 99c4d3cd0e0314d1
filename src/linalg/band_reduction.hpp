#pragma once
// The first stage of the two-stage tridiagonalisation of large matrices: a symmetric matrix
// reduced to a band of half-width b by Householder transformations a panel of b columns at a
// time. Each panel costs a few packed products on the trailing matrix, which is read a few
// times per panel instead of once per column as in the direct reduction: the work stays in
// cache-friendly products where the direct reduction is bound by memory.

#include <cstddef>
#include <vector>

#include "linalg/matrix.hpp"

namespace tbrelax {

// What the reduction keeps for the back-transformation, and its scratch.
struct band_reduction {
  int width = 0;
  std::vector<double> T;  // per panel, its b x b triangular factor: Q_p = I - V_p T_p V_p^T
  std::vector<double> work;
};

// A (n x n) holds a symmetric matrix in both triangles. On return its lower band (0 <= i - j
// <= width) holds B = Q^T A Q, the reflectors of each panel lie below the band (the Householder
// vectors' unit first elements implied), and the upper triangle is undefined. Q = Q_0 Q_1 ...
void reduce_to_band(matrix& A, int width, band_reduction& r);

// Z := Q Z for the n x columns matrix Z (leading dimension ldz), with A and r as
// reduce_to_band left them.
void apply_band_reflectors(const matrix& A, band_reduction& r, double* Z, std::size_t ldz, int columns);

}  // namespace tbrelax
