#include "hessian/vibrations.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "support/molecules.hpp"

namespace tbrelax {
namespace {

using testing::molecule;

// A diatomic whose only force is a spring of constant k along its bond (z).
common_var spring(double k, char a = 'H', char b = 'O') {
  common_var c = molecule({{a, {0.1, -0.2, 0.3}}, {b, {0.1, -0.2, 1.3}}});
  c.hess.assign(36, 0.0);
  for (int i = 0; i < 2; ++i)
    for (int j = 0; j < 2; ++j) c.hess[(3 * i + 2) + 6 * (3 * j + 2)] = i == j ? k : -k;
  return c;
}

TEST(Vibrations, SpringDiatomicHasOneStretchAtSqrtKOverReducedMass) {
  for (const double k : {30.0, -30.0}) {
    const common_var c = spring(k);
    const vibrational_analysis v = analyse_vibrations(c);
    const double mu = 1.0 * 16.0 / 17.0;
    ASSERT_EQ(v.frequencies.size(), 1u);
    EXPECT_TRUE(v.linear);
    EXPECT_NEAR(v.frequencies[0], std::copysign(std::sqrt(std::abs(k) / mu) * 521.4709, k), 1e-2);
    ASSERT_EQ(v.rigid_frequencies.size(), 5u);
    for (double nu : v.rigid_frequencies) EXPECT_NEAR(nu, 0.0, 1e-4);
    // The centre of mass stays put: the hydrogen moves 16 times as far as the oxygen, along z.
    const auto& d = v.modes[0];
    EXPECT_NEAR(d[5], -d[2] / 16.0, 1e-12);
    EXPECT_NEAR(d[2] * d[2] + d[5] * d[5], 1.0, 1e-12);
    for (int q : {0, 1, 3, 4}) EXPECT_NEAR(d[q], 0.0, 1e-12);
    EXPECT_GT(d[2], 0.0);  // the largest component is made positive
    // Only real modes hold zero-point energy: h c nu / 2.
    EXPECT_NEAR(v.zero_point_energy, k > 0 ? 0.5 * 1.239841984e-4 * v.frequencies[0] : 0.0, 1e-9);
  }
}

}  // namespace
}  // namespace tbrelax
