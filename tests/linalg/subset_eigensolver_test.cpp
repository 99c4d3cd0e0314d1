// Every eigenvalue and the lowest eigenvectors of a symmetric matrix, by both reductions to
// tridiagonal form: against the full eigensolver, with small residuals and orthonormal vectors.

#include "linalg/subset_eigensolver.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#ifdef _OPENMP
#include <omp.h>
#endif

#include "linalg/eigen_test_support.hpp"

namespace tbrelax {
namespace {

struct subset_case {
  int n, vectors;
  tridiagonal_reduction how;
};

class SubsetEigensolver : public ::testing::TestWithParam<subset_case> {};

// Orders below, at and above the band's panels (64 columns) and the reflector blocks (96).
TEST_P(SubsetEigensolver, MatchesTheFullEigensolver) {
  const auto [n, vectors, how] = GetParam();
  const matrix A = testing::random_symmetric(n, 40 + n);
  matrix full = A;
  std::vector<double> reference(n), scratch(n);
  int ierr = 0;
  eisrs1(n, n, reference.data(), full.data(), ierr, scratch.data());
  ASSERT_EQ(ierr, 0);

  matrix work = A, Z;
  for (int j = 0; j < n; ++j)  // only the upper triangle may be read
    for (int i = j + 1; i < n; ++i) work(i, j) = 1e300;
  std::vector<double> values(n);
  subset_eigen_workspace w;
  ASSERT_TRUE(subset_eigensolver(work, vectors, values.data(), Z, w, how));
  ASSERT_EQ(Z.cols(), vectors);
  for (int k = 0; k < n; ++k) EXPECT_NEAR(values[k], reference[k], 1e-12) << k;
  std::vector<double> lowest(values.begin(), values.begin() + vectors);
  matrix Zl = Z;
  EXPECT_LT(testing::residual(A, Zl, lowest), 1e-12);
  EXPECT_LT(testing::orthogonality_error(Zl), 1e-13);
}

INSTANTIATE_TEST_SUITE_P(Reductions, SubsetEigensolver,
                         ::testing::Values(subset_case{1, 1, tridiagonal_reduction::direct},
                                           subset_case{97, 40, tridiagonal_reduction::direct},
                                           subset_case{129, 129, tridiagonal_reduction::through_band},
                                           subset_case{300, 150, tridiagonal_reduction::through_band},
                                           subset_case{517, 260, tridiagonal_reduction::through_band}));

#ifdef _OPENMP
// Both reductions share their work among threads only in ways that leave every sum as it is.
TEST(SubsetEigensolver, ThreadCountDoesNotChangeTheResult) {
  const int n = 517, vectors = 260, threads = omp_get_max_threads();
  for (tridiagonal_reduction how : {tridiagonal_reduction::direct, tridiagonal_reduction::through_band}) {
    std::vector<double> values[2];
    matrix Z[2];
    for (int pass = 0; pass < 2; ++pass) {
      omp_set_num_threads(pass == 0 ? 1 : std::max(2, threads));
      matrix A = testing::random_symmetric(n, 77);
      values[pass].resize(n);
      subset_eigen_workspace w;
      ASSERT_TRUE(subset_eigensolver(A, vectors, values[pass].data(), Z[pass], w, how));
    }
    omp_set_num_threads(threads);
    EXPECT_TRUE(testing::same_bits(values[0].data(), values[1].data(), n));
    EXPECT_EQ(Z[0], Z[1]);
  }
}
#endif

}  // namespace
}  // namespace tbrelax
