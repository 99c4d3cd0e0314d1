#include "hessian/hessian.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

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
  auto forces_moved = [&](int a, int axis, double by) {
    common_var moved = start;
    (axis == 0 ? moved.x : axis == 1 ? moved.y : moved.z)[a] += by;
    force(moved, m.model);
    std::vector<double> f;
    for (int b = 0; b < moved.at_count; ++b) f.insert(f.end(), {moved.fx[b], moved.fy[b], moved.fz[b]});
    return f;
  };
  for (int k = 0; k < nat3; ++k) {
    const auto plus = forces_moved(k / 3, k % 3, h), minus = forces_moved(k / 3, k % 3, -h);
    for (int l = 0; l < nat3; ++l) EXPECT_NEAR(at(c.hess, nat3, k, l), -(plus[l] - minus[l]) / (2 * h), 3e-4);
  }
  EXPECT_EQ(c.x0, start.x);
  for (int a = 0; a < c.at_count; ++a) EXPECT_NEAR(c.z[a], start.z[a], 1e-15);
}

// Processes sharing the rows each evaluate some and pass over the others; the rows they
// gather give the one-process Hessian and dipole derivatives to the bit.
TEST(Hessian, RowsSharedAmongSweepsGiveTheFullSweepToTheBit) {
  test_model m;
  auto atoms = testing::formaldehyde_atoms();
  for (auto& a : atoms)
    for (int k = 0; k < 3; ++k) a.r[k] += 0.3127 * (k + 1);  // coordinates whose displacements round
  // Displaced by -h, this one lies just below 1, where the evaluation's own displacement of
  // 1e-7 does not come back exactly either.
  atoms[0].r[0] = 1.0 + hessian_displacement - 3e-8;
  const common_var start = molecule(atoms);
  common_var whole = start;
  std::vector<double> expected_derivatives;
  hess_cre(whole, m.model, &expected_derivatives);
  // The sweep leaves rounding in the coordinates, which the sharing has to repeat.
  ASSERT_TRUE(whole.x != start.x || whole.y != start.y || whole.z != start.z);

  for (const std::size_t sharers : {2u, 3u}) {
    std::vector<common_var> states(sharers, start);
    std::vector<std::unique_ptr<hessian_sweep>> sweeps;
    for (auto& c : states) sweeps.push_back(std::make_unique<hessian_sweep>(c, m.model, true));
    for (std::size_t k = 0; k < sweeps[0]->rows(); ++k) sweeps[0]->store(k, sweeps[k % sharers]->evaluate(k));
    std::vector<double> derivatives;
    sweeps[0]->finish(&derivatives);
    const common_var& c = states[0];
    EXPECT_EQ(c.hesel, whole.hesel) << sharers;
    EXPECT_EQ(c.hess, whole.hess) << sharers;
    EXPECT_EQ(c.hesrep, whole.hesrep) << sharers;
    EXPECT_EQ(derivatives, expected_derivatives) << sharers;
    EXPECT_TRUE(c.x == whole.x && c.y == whole.y && c.z == whole.z) << sharers;
  }
}

}  // namespace
}  // namespace tbrelax
