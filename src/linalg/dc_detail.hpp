#pragma once
// The pieces of the divide-and-conquer tridiagonal eigensolver (tridiagonal_eigen.hpp), shared
// between its sources.
//
// Two solved halves of a tridiagonal matrix, T1 = Q1 D1 Q1^T and T2 = Q2 D2 Q2^T, coupled by the
// element beta, give T = Q (D + rho z z^T) Q^T with Q = diag(Q1, Q2): a diagonal matrix plus a
// rank-one update, whose eigenvalues are the roots of the secular equation
//   f(lambda) = 1 / rho + sum_i z_i^2 / (d_i - lambda) = 0.

#include <cstddef>

namespace tbrelax::dc_detail {

// Relative precision of the rounding (half the spacing of doubles at 1).
inline constexpr double unit_roundoff = 1.1102230246251565e-16;  // 2^-53

// A root lambda = d[origin] + tau, held relative to the nearer of its two poles: the distances
// d_i - lambda = (d_i - d[origin]) - tau are then accurate to the last bits even for the poles
// next to the root, which the eigenvectors need.
struct secular_root {
  int origin;
  double tau;
};

inline double root_distance(const double* d, int i, const secular_root& r) { return (d[i] - d[r.origin]) - r.tau; }

// Root j (from 0) of the secular equation for rho > 0, d[0] < d[1] < ... < d[k-1] and every w_i
// non-zero: root j lies in (d[j], d[j+1]), the last one in (d[k-1], d[k-1] + rho |w|^2).
secular_root solve_secular_root(int k, const double* d, const double* w, double rho, int j);

// One merge of two solved halves. The N x N block q (leading dimension ld) holds Q1 in its
// top-left n1 x n1 corner and Q2 in its bottom-right corner, zeros elsewhere; values holds D1
// then D2, each ascending. On return values holds the N merged eigenvalues, ascending, and out
// (leading dimension ldo) the eigenvectors of the lowest `vectors` of them; q is overwritten.
// scratch has room for the merge's work: K x vectors doubles for the K values that do not
// deflate (at most N x vectors).
struct merge_problem {
  int n1, n2;
  double* q;
  std::size_t ld;
  double* values;
  double beta;
  int vectors;
  double* out;
  std::size_t ldo;
  double* scratch;
};
void merge(const merge_problem& p);

}  // namespace tbrelax::dc_detail
