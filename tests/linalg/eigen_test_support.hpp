#pragma once
// Matrices and measures shared by the eigensolver tests.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "linalg/matrix.hpp"

namespace tbrelax::testing {

inline constexpr double eps = 2.220446049250313e-16;

// A symmetric matrix with entries uniform in [-1, 1), both triangles filled.
inline matrix random_symmetric(int n, std::uint64_t seed) {
  std::mt19937_64 rng(seed);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  matrix a(n);
  for (int j = 0; j < n; ++j)
    for (int i = j; i < n; ++i) a(i, j) = a(j, i) = u(rng);
  return a;
}

inline double frobenius(const matrix& a) {
  double s = 0.0;
  for (int j = 0; j < a.cols(); ++j)
    for (int i = 0; i < a.rows(); ++i) s += a(i, j) * a(i, j);
  return std::sqrt(s);
}

// max |(V^T V - I)(i, j)|.
inline double orthogonality_error(const matrix& v) {
  double worst = 0.0;
  for (int j = 0; j < v.cols(); ++j)
    for (int i = 0; i < v.cols(); ++i) {
      double s = i == j ? -1.0 : 0.0;
      for (int k = 0; k < v.rows(); ++k) s += v(k, i) * v(k, j);
      worst = std::max(worst, std::abs(s));
    }
  return worst;
}

// max |(A V - V diag(d))(i, j)|.
inline double residual(const matrix& a, const matrix& v, const std::vector<double>& d) {
  double worst = 0.0;
  for (int j = 0; j < v.cols(); ++j)
    for (int i = 0; i < a.rows(); ++i) {
      double s = -v(i, j) * d[std::size_t(j)];
      for (int k = 0; k < a.cols(); ++k) s += a(i, k) * v(k, j);
      worst = std::max(worst, std::abs(s));
    }
  return worst;
}

// Bitwise equality, so that NaNs and signed zeros count too.
inline bool same_bits(const double* a, const double* b, std::size_t count) {
  return std::memcmp(a, b, count * sizeof(double)) == 0;
}

}  // namespace tbrelax::testing
