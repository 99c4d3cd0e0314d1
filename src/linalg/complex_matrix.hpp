#pragma once
// A dense column-major complex matrix held as two real matrices, its real and its imaginary
// part, so that the real kernels (products, factorisations) work on it without conversion.

#include <complex>

#include "linalg/matrix.hpp"

namespace tbrelax {

class complex_matrix {
 public:
  complex_matrix() = default;
  complex_matrix(int rows, int cols) : re(rows, cols), im(rows, cols) {}
  explicit complex_matrix(int n) : complex_matrix(n, n) {}

  int rows() const { return re.rows(); }
  int cols() const { return re.cols(); }
  std::complex<double> operator()(int i, int j) const { return {re(i, j), im(i, j)}; }
  void set(int i, int j, std::complex<double> z) {
    re(i, j) = z.real();
    im(i, j) = z.imag();
  }
  bool operator==(const complex_matrix&) const = default;

  matrix re, im;
};

}  // namespace tbrelax
