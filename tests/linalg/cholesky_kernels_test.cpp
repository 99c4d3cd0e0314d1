// The kernels of the Cholesky route: the factor and its solves, the standard form, and the
// test that decides whether the factor is trusted.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "linalg/eigen_test_support.hpp"
#include "linalg/overlap_definiteness.hpp"
#include "linalg/standard_form.hpp"
#include "linalg/triangular.hpp"

namespace tbrelax {
namespace {

using testing::max_difference;
using testing::naive_product;
using testing::random_symmetric;
using testing::transposed;

// A well-conditioned positive definite matrix: unit diagonal plus a small random part.
matrix overlap_like(int n, unsigned seed) {
  matrix S = random_symmetric(n, seed);
  for (std::size_t i = 0; i < S.size(); ++i) S.data()[i] *= 0.5 / std::sqrt(double(n));
  for (int i = 0; i < n; ++i) S(i, i) = 1.0;
  return S;
}

// The upper triangle of U with zeros below; the symmetric matrix held in A's upper triangle.
matrix triangle(const matrix& U, bool mirrored = false) {
  matrix t(U.rows());
  for (int j = 0; j < U.cols(); ++j)
    for (int i = 0; i <= j; ++i) t(i, j) = mirrored ? (t(j, i) = U(i, j)) : U(i, j);
  return t;
}

// Sizes on both sides of the blocks of 64 rows and of the halving of the recursion.
class CholeskySizes : public ::testing::TestWithParam<int> {};

TEST_P(CholeskySizes, FactorAndSolvesReproduceTheirInput) {
  const int n = GetParam(), columns = 11;
  const matrix S = overlap_like(n, 7 + n);
  matrix U = S;
  std::vector<double> pivots;
  ASSERT_TRUE(cholesky_upper(U, pivots));
  for (int j = 0; j < n; ++j) EXPECT_EQ(U(j, j), std::sqrt(pivots[j])) << j;
  const matrix T = triangle(U);
  EXPECT_LT(max_difference(naive_product(transposed(T), T), S), 1e-14);
  const matrix B = random_symmetric(std::max(n, columns), 3);
  matrix X(n, columns), Y(n, columns), leading(n, columns);
  for (int j = 0; j < columns; ++j)
    for (int i = 0; i < n; ++i) leading(i, j) = X(i, j) = Y(i, j) = B(i, j);
  solve_transposed_upper(U, X.data(), n, columns);
  solve_upper(U, Y.data(), n, columns);
  EXPECT_LT(max_difference(naive_product(transposed(T), X), leading), 1e-13);
  EXPECT_LT(max_difference(naive_product(T, Y), leading), 1e-13);
}

// A = U^-T H U^-1 satisfies U^T A U = H.
TEST_P(CholeskySizes, StandardFormTurnsBackIntoH) {
  const int n = GetParam();
  const matrix S = overlap_like(n, 11 + n), H = random_symmetric(n, 12 + n);
  matrix U = S, A;
  std::vector<double> pivots;
  ASSERT_TRUE(cholesky_upper(U, pivots));
  reduce_to_standard_form(U, H, A);
  const matrix T = triangle(U);
  EXPECT_LT(max_difference(naive_product(transposed(T), naive_product(triangle(A, true), T)), H), 1e-12);
}

INSTANTIATE_TEST_SUITE_P(Orders, CholeskySizes, ::testing::Values(1, 5, 64, 65, 130, 301));

TEST(Cholesky, StopsAtTheFirstPivotThatIsNotPositive) {
  for (double bad : {-1.0, 0.0, std::numeric_limits<double>::quiet_NaN()}) {
    matrix S = overlap_like(90, 5);
    S(70, 70) = bad;
    std::vector<double> pivots;
    EXPECT_FALSE(cholesky_upper(S, pivots)) << bad;
    EXPECT_FALSE(pivots[70] > 0);
    EXPECT_GT(pivots[69], 0.5);
  }
}

// A unit overlap is trusted; two basis functions that are nearly one (smallest eigenvalue 1e-9)
// are not, whichever estimate catches it.
TEST(OverlapDefiniteness, TrustsOnlyAClearlyPositiveDefiniteOverlap) {
  const int n = 40;
  for (double coupling : {0.0, 1 - 1e-9}) {
    matrix S(n);
    for (int i = 0; i < n; ++i) S(i, i) = 1.0;
    S(7, 31) = S(31, 7) = coupling;
    matrix U = S;
    std::vector<double> pivots;
    ASSERT_TRUE(cholesky_upper(U, pivots));
    const overlap_factor_check r = check_overlap_factor(S, pivots, [&](std::vector<double>& x) {
      solve_transposed_upper(U, x);
      solve_upper(U, x);
    });
    EXPECT_EQ(r.trusted, coupling == 0.0) << coupling;
    EXPECT_EQ(r.norm, 1.0 + coupling);
  }
}

}  // namespace
}  // namespace tbrelax
