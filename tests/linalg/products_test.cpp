#include "linalg/products.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "linalg/eigen_test_support.hpp"
#include "linalg/packed_gemm.hpp"

namespace tbrelax {
namespace {

using testing::naive_product;
using testing::transposed;

// Small-integer matrices: every partial sum of their products is an integer far below 2^53, so
// any summation order gives the exact result and a wrong index shows as an inequality. Real
// ones, uniform in [-1, 1), where integers is false.
matrix filled(int rows, int cols, unsigned seed, bool integers = true) {
  std::mt19937 rng(seed);
  std::uniform_int_distribution<int> u(-8, 8);
  std::uniform_real_distribution<double> x(-1.0, 1.0);
  matrix a(rows, cols);
  for (std::size_t i = 0; i < a.size(); ++i) a.data()[i] = integers ? u(rng) : x(rng);
  return a;
}

// Shapes on both sides of the register tiles and of the cache blocks (192 rows, 256 steps,
// 3072 columns).
TEST(Products, MultiplyIsExactAcrossTileAndBlockEdges) {
  const int shapes[][3] = {{1, 1, 1}, {3, 5, 2}, {17, 13, 29}, {16, 12, 256}, {193, 37, 300}, {40, 3100, 3}};
  for (const auto& s : shapes) {
    const matrix a = filled(s[0], s[2], 1), b = filled(s[2], s[1], 2);
    matrix c(7, 7);  // a wrong shape is replaced
    multiply(a, b, c);
    EXPECT_EQ(c, naive_product(a, b)) << s[0] << " x " << s[1] << " x " << s[2];
  }
}

TEST(Products, TransposedProductOfSymmetricResultIsExactAndSymmetric) {
  for (int n : {1, 7, 200, 300}) {
    const matrix x = filled(n, n, 3), s0 = filled(n, n, 4);
    const matrix h = naive_product(s0, transposed(s0));  // symmetric, so X^T H X is too
    const matrix t = naive_product(h, x);
    matrix c;
    multiply_transposed_symmetric(x, t, c);
    EXPECT_EQ(c, naive_product(transposed(x), t)) << n;
    EXPECT_EQ(c, transposed(c)) << n;
  }
}

TEST(Products, WeightedOuterSumOverNothingIsZeroAndWideTrianglesAreWhole) {
  matrix r = filled(9, 9, 7, false);
  weighted_outer_sum(filled(9, 9, 8), std::vector<double>{}, r);
  EXPECT_EQ(r, matrix(9, 9));

  // More columns than one panel of the packed product: the triangle spans two panels.
  const int n = 3100;
  const matrix c = filled(n, 2, 9);
  const std::vector<double> w{2.0, -1.0};
  weighted_outer_sum(c, w, r);
  bool exact = true;
  for (int j = 0; j < n && exact; ++j)
    for (int i = 0; i < n && exact; ++i) exact = r(i, j) == 2 * c(i, 0) * c(j, 0) - c(i, 1) * c(j, 1);
  EXPECT_TRUE(exact);
}

// Both transposition flags, weights on the inner dimension, leading dimensions above the rows.
TEST(Products, PackedProductHandlesEveryOperandLayout) {
  const int m = 21, n = 15, k = 270, pad = 3;
  const matrix a = filled(m + pad, k, 10), at = transposed(a);
  const matrix b = filled(k + pad, n, 11), bt = transposed(b);
  std::vector<double> w(k);
  for (int i = 0; i < k; ++i) w[i] = (i % 5) - 2;
  matrix expected(m, n);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < m; ++i)
      for (int p = 0; p < k; ++p) expected(i, j) += a(i, p) * w[p] * b(p, j);
  for (bool ta : {false, true})
    for (bool tb : {false, true}) {
      matrix c(m + pad, n);
      const gemm_operand A = ta ? gemm_operand{at.data(), at.rows(), true} : gemm_operand{a.data(), a.rows(), false};
      const gemm_operand B = tb ? gemm_operand{bt.data(), bt.rows(), true} : gemm_operand{b.data(), b.rows(), false};
      packed_product(m, n, k, A, B, w.data(), c.data(), c.rows(), false);
      for (int j = 0; j < n; ++j) {
        for (int i = 0; i < m; ++i) ASSERT_EQ(c(i, j), expected(i, j)) << ta << tb << " " << i << " " << j;
        for (int i = m; i < m + pad; ++i) ASSERT_EQ(c(i, j), 0.0) << "wrote below the rows";
      }
    }
}

}  // namespace
}  // namespace tbrelax
