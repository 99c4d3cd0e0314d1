// Exact results, invariances and awkward input of the symmetric eigensolver.

#include "linalg/eigensolver.hpp"

#include <gtest/gtest.h>

#ifdef _OPENMP
#include <omp.h>
#endif

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "linalg/eigen_test_support.hpp"

namespace tbrelax {
namespace {

using testing::eps;
using testing::same_bits;

struct eigensystem {
  std::vector<double> d, e;
  matrix v;
  int ierr = -1;
};

eigensystem solve(const matrix& a) {
  const int n = a.rows();
  eigensystem s{std::vector<double>(std::size_t(n)), std::vector<double>(std::size_t(n)), a};
  tred2(n, n, s.d.data(), s.e.data(), s.v.data());
  tql2(n, n, s.d.data(), s.e.data(), s.v.data(), s.ierr);
  return s;
}

matrix diagonal(const std::vector<double>& values) {
  matrix a(int(values.size()));
  for (int i = 0; i < a.rows(); ++i) a(i, i) = values[std::size_t(i)];
  return a;
}

// Column j of v must be the unit vector e_{from[j]}, exactly.
void expect_permutation(const matrix& v, const std::vector<int>& from) {
  for (int j = 0; j < v.cols(); ++j)
    for (int i = 0; i < v.rows(); ++i) EXPECT_EQ(v(i, j), i == from[std::size_t(j)] ? 1.0 : 0.0) << i << ", " << j;
}

TEST(Eigensolver, OneRowNeedsNoReflection) {
  double d = 7.0, e = 7.0, v = -2.5;
  int ierr = -1;
  eisrs1(1, 1, &d, &v, ierr, &e);
  EXPECT_EQ(ierr, 0);
  EXPECT_EQ(d, -2.5);
  EXPECT_EQ(e, 0.0);
  EXPECT_EQ(v, 1.0);
}

TEST(Eigensolver, DiagonalMatrixIsOnlySorted) {
  const eigensystem s = solve(diagonal({3.0, -1.0, 2.0, 0.0}));
  EXPECT_EQ(s.ierr, 0);
  EXPECT_EQ(s.d, (std::vector<double>{-1.0, 0.0, 2.0, 3.0}));
  expect_permutation(s.v, {1, 3, 2, 0});
  // Of equal values the first found stays the minimum, which fixes the permutation.
  const eigensystem t = solve(diagonal({3.0, 1.0, 1.0}));
  EXPECT_EQ(t.d, (std::vector<double>{1.0, 1.0, 3.0}));
  expect_permutation(t.v, {1, 2, 0});
  const eigensystem u = solve(diagonal({2.0, 1.0, 2.0, 1.0}));
  expect_permutation(u.v, {1, 3, 2, 0});
}

// eisrs1 on a matrix with leading dimension 175 > n and junk above the diagonal, against tred2
// and tql2 on the clean dense one; large enough for every threaded path to run.
TEST(Eigensolver, OnlyTheLowerTriangleIsReadAndPaddingRowsAreLeftAlone) {
  const int n = 170, nm = 175;
  const double sentinel = -123.25;
  const double junk[] = {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(), -1e308, 3.0};
  const matrix a = testing::random_symmetric(n, 11);
  matrix padded(nm, n);
  padded.fill(sentinel);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) padded(i, j) = i < j ? junk[(i + j) % 4] : a(i, j);
  std::vector<double> d(n), e(n);
  int ierr = -1;
  eisrs1(nm, n, d.data(), padded.data(), ierr, e.data());
  const eigensystem dense = solve(a);
  EXPECT_EQ(ierr, 0);
  EXPECT_TRUE(same_bits(d.data(), dense.d.data(), d.size()));
  for (int j = 0; j < n; ++j) {
    EXPECT_TRUE(same_bits(padded.col(j), dense.v.col(j), std::size_t(n))) << "column " << j;
    for (int i = n; i < nm; ++i) EXPECT_EQ(padded(i, j), sentinel);
  }
}

TEST(Eigensolver, ScalingByAPowerOfTwoScalesEigenvaluesExactly) {
  // Every step is homogeneous in the matrix, so a power-of-two factor passes through unrounded.
  const matrix a = testing::random_symmetric(60, 5);
  const eigensystem s = solve(a);
  for (const double factor : {0x1p40, 0x1p-40}) {
    matrix b = a;
    for (std::size_t k = 0; k < b.size(); ++k) b.data()[k] *= factor;
    const eigensystem t = solve(b);
    for (std::size_t i = 0; i < s.d.size(); ++i) EXPECT_EQ(t.d[i], s.d[i] * factor);
    EXPECT_TRUE(same_bits(t.v.data(), s.v.data(), s.v.size()));
  }
}

TEST(Eigensolver, ThreadCountDoesNotChangeTheResult) {
#ifdef _OPENMP
  // Threads split rows and columns that are computed independently, never a sum.
  const matrix a = testing::random_symmetric(300, 21);
  const int threads = omp_get_max_threads();
  omp_set_num_threads(1);
  const eigensystem one = solve(a);
  omp_set_num_threads(2);
  const eigensystem two = solve(a);
  omp_set_num_threads(threads);
  EXPECT_TRUE(same_bits(one.d.data(), two.d.data(), one.d.size()));
  EXPECT_TRUE(same_bits(one.v.data(), two.v.data(), one.v.size()));
#else
  GTEST_SKIP() << "built without OpenMP";
#endif
}

TEST(Tql2, NonConvergenceStopsAtOnceAfterApplyingTheRotations) {
  // The leading 2 x 2 block converges; the NaN below it never can.
  const double nan = std::numeric_limits<double>::quiet_NaN();
  std::vector<double> d{1.0, 2.0, nan, 4.0}, e{0.0, 0.5, 0.0, 1.0};
  matrix v = diagonal({1.0, 1.0, 1.0, 1.0});
  int ierr = -1;
  tql2(4, 4, d.data(), e.data(), v.data(), ierr);
  EXPECT_EQ(ierr, 3);
  // The first two eigenvalues are final but left in the order they were found, and the
  // rotations reached their vectors before the return.
  for (int i = 0; i < 2; ++i) {
    EXPECT_NEAR(std::abs(d[std::size_t(i)] - 1.5), std::sqrt(0.5), 4 * eps);
    EXPECT_NEAR(v(0, i) * v(0, i) + v(1, i) * v(1, i), 1.0, 4 * eps);
    EXPECT_NE(v(1 - i, i), 0.0);
  }
}

// Sizes around the vector width, the row and reflector blocks and the thresholds for sharing
// work between threads: the reduction is Q^T A Q to within roundings of A, and the eigenpairs
// are ascending with residuals and orthogonality at rounding level.
class EigensolverSizes : public ::testing::TestWithParam<int> {};

TEST_P(EigensolverSizes, ReductionAndEigenpairsHoldToRounding) {
  const int n = GetParam();
  const matrix a = testing::random_symmetric(n, std::uint64_t(n));
  const double norm = testing::frobenius(a);
  std::vector<double> d(n), e(n);
  matrix q = a;
  tred2(n, n, d.data(), e.data(), q.data());
  EXPECT_EQ(e[0], 0.0);
  const matrix t = testing::naive_product(testing::transposed(q), testing::naive_product(a, q));
  double worst = 0.0;
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i)
      worst = std::max(worst, std::abs(t(i, j) - (i == j ? d[i] : i == j + 1 ? e[i] : j == i + 1 ? e[j] : 0.0)));
  EXPECT_LT(worst, n * eps * norm);
  EXPECT_LT(testing::orthogonality_error(q), 4 * n * eps);
  const eigensystem s = solve(a);
  ASSERT_EQ(s.ierr, 0);
  EXPECT_TRUE(std::is_sorted(s.d.begin(), s.d.end()));
  EXPECT_LT(testing::residual(a, s.v, s.d), n * eps * norm);
  EXPECT_LT(testing::orthogonality_error(s.v), 4 * n * eps);
}

INSTANTIATE_TEST_SUITE_P(Sizes, EigensolverSizes, ::testing::Values(2, 3, 4, 9, 16, 17, 33, 65, 100, 300));

TEST(Eigensolver, UncoupledBlocksStayUncoupled) {
  // Blocks of 40, 1 and 30 rows: the reduction leaves exact zeros between them, the iteration
  // splits there, and every eigenvector lives in one block.
  const int sizes[] = {40, 1, 30}, n = 71;
  matrix a(n);
  std::vector<int> block_of(n);
  for (int b = 0, first = 0; b < 3; first += sizes[b], ++b) {
    const matrix part = testing::random_symmetric(sizes[b], 900 + std::uint64_t(b));
    for (int j = 0; j < sizes[b]; ++j) {
      block_of[std::size_t(first + j)] = b;
      for (int i = 0; i < sizes[b]; ++i) a(first + i, first + j) = part(i, j);
    }
  }
  const eigensystem s = solve(a);
  ASSERT_EQ(s.ierr, 0);
  for (int j = 0; j < n; ++j) {
    int home = -1;
    for (int k = 0; k < n; ++k)
      if (s.v(k, j) != 0.0) {
        if (home < 0) home = block_of[std::size_t(k)];
        EXPECT_EQ(block_of[std::size_t(k)], home) << "row " << k << " of vector " << j;
      }
  }
  EXPECT_LT(testing::residual(a, s.v, s.d), n * eps * testing::frobenius(a));
  EXPECT_LT(testing::orthogonality_error(s.v), 4 * n * eps);
}

}  // namespace
}  // namespace tbrelax
