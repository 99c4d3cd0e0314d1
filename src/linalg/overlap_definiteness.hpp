#pragma once
// Whether the Cholesky factor of an overlap matrix may stand in for its eigendecomposition.
//
// The canonical route reports every overlap eigenvalue that comes out negative, and the Cholesky
// route must never run where it would. A computed eigenvalue of S is off by at most about
// n u |S| (u the unit roundoff), so it can only come out negative where the smallest true one,
// s_min, is below that: about 1e-12 |S| for n in the thousands. The factor is trusted only when
// s_min is shown to be far above, at least 1e-6 |S|_1, by two estimates:
// - every pivot: pivot j is 1 / (S_j^-1)_jj for the leading block S_j of order j + 1, which is
//   at least s_min, so a small pivot means a small s_min (two atoms pushed together give one);
// - 1 / |S^-1|_1, which is at most s_min (for symmetric S, |S^-1|_2 <= |S^-1|_1), with
//   |S^-1|_1 estimated by a few solves with the factor. Such estimates are rarely low by more
//   than a factor of 3; the margin of a million over the rounding level allows far more.
// Where either estimate is below the threshold, or not a number, the canonical route runs.

#include <functional>
#include <span>
#include <vector>

#include "linalg/matrix.hpp"

namespace tbrelax {

// The least smallest-eigenvalue of S, relative to |S|_1, for which the factor is trusted.
inline constexpr double least_trusted_overlap_eigenvalue = 1e-6;

// x := S^-1 x through the factor.
using overlap_solve = std::function<void(std::vector<double>&)>;

// An estimate from below of |A|_1 for the symmetric n x n matrix A, known only through
// apply(x): x := A x. Hager's method as refined by Higham: at most five probes by signs and unit
// vectors, and one more by an alternating vector that catches matrices the others miss.
double estimate_symmetric_norm1(int n, const overlap_solve& apply);

struct overlap_factor_check {
  double norm = 0;                // |S|_1
  double smallest_pivot = 0;      // an upper bound of the smallest eigenvalue
  double inverse_norm = 0;        // the estimate of |S^-1|_1; 0 where not formed
  bool trusted = false;
};

// The test above, for S, the pivots of its factor and solves with the factor.
overlap_factor_check check_overlap_factor(const matrix& S, std::span<const double> pivots, const overlap_solve& solve);

}  // namespace tbrelax
