#include "hessian/hessian.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "support/molecules.hpp"

namespace tbrelax {
namespace {

using testing::molecule;
using testing::test_model;

double at(const std::vector<double>& m, int nat3, int row, int col) { return m[row + static_cast<std::size_t>(col) * nat3]; }

TEST(Hessian, SymmetricWithBalancedRepulsiveRowsAndMatchingForceDifferences) {
  test_model m;
  common_var c = molecule(testing::formaldehyde_atoms());
  const common_var start = c;
  hess_cre(c, m.model);
  const int nat3 = c.nat3;
  for (int k = 0; k < nat3; ++k)
    for (int l = 0; l < nat3; ++l) EXPECT_EQ(at(c.hess, nat3, k, l), at(c.hess, nat3, l, k));
  // Each diagonal block of the repulsive part is minus the sum of its row's other blocks.
  for (int k = 0; k < nat3; ++k)
    for (int axis = 0; axis < 3; ++axis) {
      double sum = 0, scale = 0;
      for (int b = 0; b < c.at_count; ++b) {
        sum += at(c.hesrep, nat3, k, 3 * b + axis);
        scale = std::max(scale, std::abs(at(c.hesrep, nat3, k, 3 * b + axis)));
      }
      EXPECT_NEAR(sum, 0.0, 1e-12 * scale);
    }
  // Central differences of the total force, with the central differences' own error.
  const double h = 1e-4;
  for (int a = 0; a < c.at_count; ++a)
    for (int axis = 0; axis < 3; ++axis) {
      common_var plus = start, minus = start;
      std::vector<double>* qp[3] = {&plus.x, &plus.y, &plus.z};
      std::vector<double>* qm[3] = {&minus.x, &minus.y, &minus.z};
      (*qp[axis])[a] += h;
      (*qm[axis])[a] -= h;
      force(plus, m.model);
      force(minus, m.model);
      for (int b = 0; b < c.at_count; ++b) {
        const double fp[3] = {plus.fx[b], plus.fy[b], plus.fz[b]}, fm[3] = {minus.fx[b], minus.fy[b], minus.fz[b]};
        for (int l = 0; l < 3; ++l)
          EXPECT_NEAR(at(c.hess, nat3, 3 * a + axis, 3 * b + l), -(fp[l] - fm[l]) / (2 * h), 3e-4);
      }
    }
  EXPECT_EQ(c.x0, start.x);
  for (int a = 0; a < c.at_count; ++a) EXPECT_NEAR(c.z[a], start.z[a], 1e-15);
}

TEST(Hessian, SingleAtomHasNoRepulsiveCurvature) {
  test_model m;
  common_var c = molecule({{'N', {0.5, 0.5, 0.5}}});
  hess_cre(c, m.model);
  EXPECT_EQ(c.hesrep, std::vector<double>(9, 0.0));
  for (double v : c.hess) EXPECT_NEAR(v, 0.0, 1e-6);
}

TEST(Hessian, PeriodicSeparationTakesTheShortestImage) {
  common_var c = molecule({{'H', {0.5, 1.0, 2.0}}, {'H', {24.5, 1.0, 2.0}}});
  c.perx = {25.05758, 0, 0};
  c.pery = {0, 39.060900000000004, 0};
  c.perz = {0, 0, 1e6};
  separation plain = dxdydz(0, 1, c);
  EXPECT_DOUBLE_EQ(plain.dx, 24.0);
  EXPECT_DOUBLE_EQ(plain.r, 24.0);
  c.indper = 1;
  separation across = dxdydz(0, 1, c);
  EXPECT_NEAR(across.dx, 24.0 - 25.05758, 1e-12);
  EXPECT_NEAR(across.r, 1.05758, 1e-12);
  EXPECT_EQ(across.dy, 0.0);
  separation self = dxdydz(1, 1, c);
  EXPECT_EQ(self.r, 0.0);
  EXPECT_EQ(self.dx, 0.0);
}

}  // namespace
}  // namespace tbrelax
