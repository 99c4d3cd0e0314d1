#pragma once
// Matrices, measures and molecules shared by the linear algebra tests.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "linalg/matrix.hpp"
#include "support/molecules.hpp"

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

inline matrix transposed(const matrix& a) {
  matrix t(a.cols(), a.rows());
  for (int j = 0; j < a.cols(); ++j)
    for (int i = 0; i < a.rows(); ++i) t(j, i) = a(i, j);
  return t;
}

// The product summed in extended precision: exact for small-integer operands, a reference to
// rounding for real ones.
inline matrix naive_product(const matrix& a, const matrix& b) {
  matrix c(a.rows(), b.cols());
  for (int j = 0; j < b.cols(); ++j)
    for (int i = 0; i < a.rows(); ++i) {
      long double s = 0;
      for (int k = 0; k < a.cols(); ++k) s += static_cast<long double>(a(i, k)) * b(k, j);
      c(i, j) = static_cast<double>(s);
    }
  return c;
}

inline double max_difference(const matrix& a, const matrix& b) {
  double worst = 0;
  for (std::size_t i = 0; i < a.size(); ++i) worst = std::max(worst, std::abs(a.data()[i] - b.data()[i]));
  return worst;
}

// S = Q diag(s) Q^T, Q a Householder reflection of a random vector (orthogonal to rounding):
// an overlap-like matrix with a known spectrum, H random symmetric of the same order.
struct generalised_problem {
  matrix H, S;
};

inline generalised_problem problem_with_overlap_spectrum(const std::vector<double>& s, std::uint64_t seed) {
  const int n = int(s.size());
  const matrix r = random_symmetric(n, seed);
  double ww = 0;
  for (int i = 0; i < n; ++i) ww += r(i, 0) * r(i, 0);
  matrix D(n), Q(n);
  for (int j = 0; j < n; ++j) {
    D(j, j) = s[std::size_t(j)];
    for (int i = 0; i < n; ++i) Q(i, j) = (i == j ? 1.0 : 0.0) - 2 * r(i, 0) * r(j, 0) / ww;
  }
  generalised_problem p{random_symmetric(n, seed + 1), naive_product(Q, naive_product(D, transposed(Q)))};
  for (std::size_t i = 0; i < p.H.size(); ++i) p.H.data()[i] *= 10;
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < j; ++i) p.S(i, j) = p.S(j, i);
  return p;
}

// A molecule of the benchmark's families as the tests' atoms.
template <class BenchMolecule>
std::vector<atom> atoms_of(const BenchMolecule& m) {
  std::vector<atom> atoms;
  for (std::size_t a = 0; a < m.types.size(); ++a) atoms.push_back({m.types[a] == 1 ? 'H' : 'C', m.positions[a]});
  return atoms;
}

// Bitwise equality, so that NaNs and signed zeros count too.
inline bool same_bits(const double* a, const double* b, std::size_t count) {
  return std::memcmp(a, b, count * sizeof(double)) == 0;
}

}  // namespace tbrelax::testing
