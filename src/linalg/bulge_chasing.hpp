#pragma once
// The second stage of the two-stage tridiagonalisation: a symmetric band matrix of half-width b
// reduced to tridiagonal form by chasing bulges. Sweep c annihilates column c below its
// sub-diagonal with a reflector on rows c + 1 .. c + b; applied from the right to the rows
// below, it fills a triangle outside the band, whose first column the next reflector, b rows
// further down, annihilates, and so on to the end of the matrix. Everything happens in a
// compact copy of the band, which stays in cache.

#include <cstddef>
#include <vector>

#include "linalg/matrix.hpp"

namespace tbrelax {

// The reflectors of the chase, H = I - tau v v^T with v[0] = 1, for the back-transformation:
// reflector k of sweep c acts on rows c + 1 + k b .. c + (k + 1) b (cut at n - 1).
struct bulge_chase {
  int n = 0, width = 0;
  std::vector<double> vectors;         // width doubles per reflector
  std::vector<double> tau;
  std::vector<std::size_t> first;      // index of sweep c's first reflector; first[n - 2] = count
  std::vector<double> band, work;      // scratch
};

// The band 0 <= i - j <= width of A (lower triangle) to tridiagonal form: its diagonal into d
// (n) and off-diagonal into e (n - 1).
void chase_band(const matrix& A, int width, double* d, double* e, bulge_chase& r);

// Z := Q Z (n x columns, leading dimension ldz) with Q the product of the chase's reflectors,
// so that the eigenvectors of the tridiagonal matrix become those of the band. Groups of
// reflectors from neighbouring sweeps are applied together as one block.
void apply_bulge_reflectors(bulge_chase& r, double* Z, std::size_t ldz, int columns);

}  // namespace tbrelax
