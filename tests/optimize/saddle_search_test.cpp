// P-RFO on the Müller-Brown surface: each of its saddle points from guesses on its slopes.
#include "optimize/saddle_search.hpp"

#include <gtest/gtest.h>

#include "muller_brown.hpp"

namespace tbrelax {
namespace {

TEST(SaddleSearch, ConvergesToTheMullerBrownSaddlePointsFromTheirSlopes) {
  struct guess {
    double x, y;
    double saddle_x, saddle_y, energy;
  };
  // Saddle points to 4 decimals (x, y, E); guesses on each side of them, off the path.
  const guess guesses[] = {{-0.7, 0.5, -0.8220, 0.6243, -40.665}, {-0.75, 0.7, -0.8220, 0.6243, -40.665},
                           {-0.9, 0.6, -0.8220, 0.6243, -40.665}, {0.1, 0.35, 0.2125, 0.2930, -72.249},
                           {0.35, 0.15, 0.2125, 0.2930, -72.249}, {0.3, 0.35, 0.2125, 0.2930, -72.249}};
  for (const guess& g : guesses) {
    testing::muller_brown f;
    const saddle_result r = find_saddle(f, {g.x, g.y, 0.01}, {1e-6, 100, 0.1, 0.3});
    ASSERT_TRUE(r.converged) << g.x << ", " << g.y;
    EXPECT_NEAR(r.end.x[0], g.saddle_x, 1e-4);
    EXPECT_NEAR(r.end.x[1], g.saddle_y, 1e-4);
    EXPECT_NEAR(r.end.value, g.energy, 1e-3);
    EXPECT_EQ(r.negative_curvatures, 1);
    EXPECT_EQ(r.hessian_evaluations, 6);
    EXPECT_LE(r.evaluations, 6 + 1 + 15) << g.x << ", " << g.y;
  }
}

}  // namespace
}  // namespace tbrelax
