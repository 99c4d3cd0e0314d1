// The reaction coordinate on the Müller-Brown surface: from each saddle point down to the two
// minima it joins.
#include "optimize/reaction_coordinate.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "muller_brown.hpp"
#include "optimize/saddle_search.hpp"

namespace tbrelax {
namespace {

TEST(ReactionCoordinate, MullerBrownSaddlesLeadToTheMinimaTheyJoin) {
  struct minimum {
    double x, y;
  };
  const minimum A{-0.5582, 1.4417}, B{0.6235, 0.0280}, C{-0.0500, 0.4667};
  struct joined {
    double x, y;      // the saddle point
    minimum one, two;  // the minima on its sides, in either order
  };
  for (const joined& j : {joined{-0.8220, 0.6243, A, C}, joined{0.2125, 0.2930, C, B}}) {
    testing::muller_brown f;
    const saddle_result ts = find_saddle(f, {j.x, j.y, 0}, {1e-6, 100, 0.1, 0.3});
    ASSERT_TRUE(ts.converged);
    irc_settings s;
    s.step = 0.02;
    s.relax = {1e-4, 1000};
    const irc_result r = follow_irc(f, ts.end, ts.mode, s);
    const search_point& a = r.backward.path.back();
    const search_point& b = r.forward.path.back();
    auto at = [](const search_point& p, const minimum& m) { return std::hypot(p.x[0] - m.x, p.x[1] - m.y) < 1e-3; };
    EXPECT_TRUE((at(a, j.one) && at(b, j.two)) || (at(a, j.two) && at(b, j.one)))
        << a.x[0] << ", " << a.x[1] << " and " << b.x[0] << ", " << b.x[1];
    // Downhill all the way on both sides.
    for (const irc_side* side : {&r.backward, &r.forward})
      for (std::size_t k = 1; k < side->path.size(); ++k) EXPECT_LT(side->path[k].energy, side->path[k - 1].energy);
  }
}

}  // namespace
}  // namespace tbrelax
