// Divide and conquer on tridiagonal matrices of every shape the merges meet: against the QL
// iteration, with exact spectra where known, orthonormal vectors and small residuals.

#include "linalg/tridiagonal_eigen.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <string>

#include "linalg/eigensolver.hpp"
#include "linalg/eigen_test_support.hpp"

namespace tbrelax {
namespace {

struct tridiagonal {
  std::string name;
  std::vector<double> d, e;  // e[i] couples rows i and i + 1
  int vectors;
};

tridiagonal random_matrix(int n, unsigned seed, int vectors) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> u(-1, 1);
  tridiagonal t{"random " + std::to_string(n), std::vector<double>(n), std::vector<double>(std::max(n - 1, 0)), vectors};
  for (double& x : t.d) x = 10 * u(rng);
  for (double& x : t.e) x = u(rng);
  return t;
}

std::vector<tridiagonal> cases() {
  std::vector<tridiagonal> list{random_matrix(1, 1, 1), random_matrix(2, 2, 2), random_matrix(32, 3, 32),
                                random_matrix(33, 4, 33), random_matrix(257, 5, 100)};
  // Wilkinson's W+: pairs of eigenvalues equal to many digits.
  tridiagonal w{"Wilkinson 41", std::vector<double>(41), std::vector<double>(40, 1.0), 41};
  for (int i = 0; i < 41; ++i) w.d[i] = std::abs(20 - i);
  list.push_back(w);
  // Nearly decoupled rows with equal diagonals: almost everything deflates.
  list.push_back({"weakly coupled 150", std::vector<double>(150, 3.0), std::vector<double>(149, 1e-12), 150});
  // Two exactly uncoupled blocks with the same spectrum: every value is double.
  tridiagonal twin{"twin blocks 120", std::vector<double>(120), std::vector<double>(119, 0.5), 60};
  twin.e[59] = 0.0;
  for (int i = 0; i < 120; ++i) twin.d[i] = i % 60;
  list.push_back(twin);
  list.push_back({"second difference 200", std::vector<double>(200, 2.0), std::vector<double>(199, -1.0), 200});
  return list;
}

TEST(TridiagonalEigen, MatchesQlWithOrthonormalVectors) {
  for (const tridiagonal& t : cases()) {
    SCOPED_TRACE(t.name);
    const int n = int(t.d.size());
    // The reference: QL with vectors on the identity.
    std::vector<double> ref = t.d, sub(n, 0.0);
    for (int i = 1; i < n; ++i) sub[i] = t.e[i - 1];
    matrix v(n);
    for (int i = 0; i < n; ++i) v(i, i) = 1;
    int ierr = 0;
    tql2(n, n, ref.data(), sub.data(), v.data(), ierr);
    ASSERT_EQ(ierr, 0);

    std::vector<double> values(n);
    matrix Z(n, t.vectors);
    tridiagonal_workspace w;
    ASSERT_TRUE(tridiagonal_eigen(n, t.d.data(), t.e.data(), t.vectors, values.data(), Z.data(), n, w));
    double norm = 0;
    for (double x : ref) norm = std::max(norm, std::abs(x));
    EXPECT_TRUE(std::is_sorted(values.begin(), values.end()));
    for (int k = 0; k < n; ++k) EXPECT_NEAR(values[k], ref[k], 1e-13 * norm) << k;
    matrix T(n);
    for (int i = 0; i < n; ++i) {
      T(i, i) = t.d[i];
      if (i + 1 < n) T(i, i + 1) = T(i + 1, i) = t.e[i];
    }
    EXPECT_LT(testing::residual(T, Z, values), 1e-13 * norm);
    EXPECT_LT(testing::orthogonality_error(Z), 1e-13);
    if (t.name.starts_with("second difference")) {  // eigenvalues 2 - 2 cos(k pi / (n + 1))
      for (int k = 0; k < n; ++k) EXPECT_NEAR(values[k], 2 - 2 * std::cos((k + 1) * std::numbers::pi / (n + 1)), 1e-14);
    }
  }
}

}  // namespace
}  // namespace tbrelax
