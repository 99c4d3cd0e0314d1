// The optimised eigensolver against the plain statement of the algorithm, and
// the backward accuracy of its results.

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "linalg/eigen_test_support.hpp"
#include "linalg/eigensolver.hpp"
#include "linalg/reference_eigensolver.hpp"

namespace tbrelax {
namespace {

using testing::eps;

// The eigenpairs of a by the optimised solver and by the plain iteration.
struct both_solutions {
  matrix v, rv;
  std::vector<double> d, rd;
  int ierr = -1, rierr = -1;
};

both_solutions solve_both(const matrix& a) {
  const int n = a.rows();
  both_solutions r{a, a, std::vector<double>(n), std::vector<double>(n)};
  std::vector<double> e(n), re(n);
  eisrs1(n, n, r.d.data(), r.v.data(), r.ierr, e.data());
  reference::tred2(n, n, r.rd.data(), re.data(), r.rv.data());
  reference::tql2(n, n, r.rd.data(), re.data(), r.rv.data(), r.rierr);
  return r;
}

// Sizes around the vector width, the row and reflector blocks and the
// thresholds for sharing work between threads.
class EigensolverSizes : public ::testing::TestWithParam<int> {};

TEST_P(EigensolverSizes, TridiagonalFormMatchesThePlainReduction) {
  const int n = GetParam();
  const matrix a = testing::random_symmetric(n, std::uint64_t(n));
  const double norm = testing::frobenius(a);
  matrix v = a, rv = a;
  std::vector<double> d(n), e(n), rd(n), re(n);
  tred2(n, n, d.data(), e.data(), v.data());
  reference::tred2(n, n, rd.data(), re.data(), rv.data());
  // The reduction is backward stable but not forward stable: late entries
  // drift by many roundings when sums are taken in another order.
  for (int i = 0; i < n; ++i) {
    EXPECT_NEAR(d[std::size_t(i)], rd[std::size_t(i)], 100 * n * eps * norm) << i;
    EXPECT_NEAR(e[std::size_t(i)], re[std::size_t(i)], 100 * n * eps * norm) << i;
  }
  EXPECT_EQ(e[0], 0.0);
  // Entries of Q drift further: over random matrices of these orders the largest
  // difference between two summation orders has a median of a few n eps but a
  // tail past 500 n eps. The product below bounds the backward error tightly.
  for (std::size_t k = 0; k < v.size(); ++k) ASSERT_NEAR(v.data()[k], rv.data()[k], 1000 * n * eps) << k;

  // Q^T A Q reproduces the tridiagonal matrix to within roundings of A.
  const matrix t = testing::naive_product(testing::transposed(v), testing::naive_product(a, v));
  double worst = 0.0;
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i)
      worst = std::max(worst, std::abs(t(i, j) - (i == j ? d[i] : i == j + 1 ? e[i] : j == i + 1 ? e[j] : 0.0)));
  EXPECT_LT(worst, n * eps * norm);
}

TEST_P(EigensolverSizes, EigenpairsMatchThePlainIteration) {
  const int n = GetParam();
  const matrix a = testing::random_symmetric(n, std::uint64_t(n) + 100);
  const double norm = testing::frobenius(a);
  const auto [v, rv, d, rd, ierr, rierr] = solve_both(a);
  ASSERT_EQ(ierr, 0);
  ASSERT_EQ(rierr, 0);
  for (int j = 0; j < n; ++j) {
    EXPECT_NEAR(d[std::size_t(j)], rd[std::size_t(j)], 1e-12 * norm) << j;
    // Compared up to sign, where the eigenvalue stands clear of its neighbours.
    const double gap = std::min(j > 0 ? rd[std::size_t(j)] - rd[std::size_t(j) - 1] : norm,
                                j + 1 < n ? rd[std::size_t(j) + 1] - rd[std::size_t(j)] : norm);
    if (gap < 1e-3 * norm) continue;
    double overlap = 0.0;
    for (int k = 0; k < n; ++k) overlap += v(k, j) * rv(k, j);
    const double sign = overlap < 0.0 ? -1.0 : 1.0;
    for (int k = 0; k < n; ++k) EXPECT_NEAR(v(k, j), sign * rv(k, j), 1e-10) << k << ", " << j;
  }
}

INSTANTIATE_TEST_SUITE_P(Sizes, EigensolverSizes, ::testing::Values(2, 3, 4, 9, 16, 17, 33, 65, 100));

TEST(Eigensolver, UncoupledBlocksStayUncoupled) {
  // Blocks of 40, 1 and 30 rows: the reduction leaves exact zeros between them,
  // the iteration splits there, and every eigenvector lives in one block.
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
  const auto [v, rv, d, rd, ierr, rierr] = solve_both(a);
  ASSERT_EQ(ierr, 0);
  ASSERT_EQ(rierr, 0);
  const double norm = testing::frobenius(a);
  for (int j = 0; j < n; ++j) {
    EXPECT_NEAR(d[std::size_t(j)], rd[std::size_t(j)], 1e-12 * norm) << j;
    int home = -1;
    for (int k = 0; k < n; ++k)
      if (v(k, j) != 0.0) {
        if (home < 0) home = block_of[std::size_t(k)];
        EXPECT_EQ(block_of[std::size_t(k)], home) << "row " << k << " of vector " << j;
      }
  }
  EXPECT_LT(testing::residual(a, v, d), n * eps * norm);
  EXPECT_LT(testing::orthogonality_error(v), 4 * n * eps);
}

}  // namespace
}  // namespace tbrelax
