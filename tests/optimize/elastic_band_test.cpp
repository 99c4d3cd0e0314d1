// The nudged elastic band on the Müller-Brown surface, and the superposition it starts from.
#include "optimize/elastic_band.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "muller_brown.hpp"
#include "optimize/alignment.hpp"

namespace tbrelax {
namespace {

TEST(ElasticBand, ClimbingImageEndsAtTheMullerBrownSaddleBetweenTheDeepMinima) {
  // From minimum A to minimum B the path crosses the higher saddle point (-0.822, 0.624) first.
  for (const int images : {7, 11}) {
    std::vector<testing::muller_brown> f(images + 1);
    band_settings s;
    s.climb_from = 5;
    s.max_move = 0.02;  // the surface's own length scale is a tenth of a molecule's
    const std::vector<double> a = {-0.558, 1.442, 0}, b = {0.623, 0.028, 0};
    const band_result r = relax_band(f[0].evaluate(a), f[0].evaluate(b), linear_path(a, b, images),
                                     [&](std::size_t i, std::vector<double> x) { return f[i + 1].evaluate(std::move(x)); }, s);
    ASSERT_TRUE(r.converged) << images;
    ASSERT_GE(r.climbing, 1);
    const search_point& top = r.images[r.climbing];
    EXPECT_NEAR(top.x[0], -0.8220, 2e-4);
    EXPECT_NEAR(top.x[1], 0.6243, 2e-4);
    EXPECT_NEAR(top.energy, -40.665, 1e-3);
    EXPECT_EQ(r.evaluations, static_cast<std::int64_t>(images) * (r.iterations + 1));
    const std::vector<double> length = path_lengths(r.images);
    for (std::size_t i = 1; i < length.size(); ++i) EXPECT_GT(length[i], length[i - 1]);
  }
}

TEST(Alignment, UndoesARotationAndShiftOfTheSameAtoms) {
  const std::vector<double> x = {0, 0, 0, 1.1, 0, 0, -0.3, 1.0, 0.2, 0.4, -0.5, 0.9};
  const double c = std::cos(2.0), s = std::sin(2.0);
  std::vector<double> moved;
  for (std::size_t a = 0; a < 4; ++a) {
    const double px = x[3 * a], py = x[3 * a + 1], pz = x[3 * a + 2];
    moved.insert(moved.end(), {c * px - s * pz + 3, py - 1, s * px + c * pz + 0.5});
  }
  EXPECT_LT(aligned_rmsd(moved, x), 1e-12);
  const std::vector<double> back = aligned(moved, x);
  for (std::size_t k = 0; k < x.size(); ++k) EXPECT_NEAR(back[k], x[k], 1e-12);
  // A real change of shape stays: one atom 0.4 angstrom off gives at least 0.4 / (2 sqrt(4)).
  std::vector<double> bent = x;
  bent[10] += 0.4;
  EXPECT_GT(aligned_rmsd(bent, x), 0.1);
}

}  // namespace
}  // namespace tbrelax
