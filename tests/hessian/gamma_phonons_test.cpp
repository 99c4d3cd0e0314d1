#include "hessian/gamma_phonons.hpp"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

#include "hessian/thermochemistry.hpp"
#include "support/molecules.hpp"
#include "tb/kpoint_grid.hpp"

namespace tbrelax {
namespace {

using testing::atom;
using testing::molecule;
using testing::test_model;
using vec3 = std::array<double, 3>;

// m x m graphene at the model's lattice constant, on a grid that samples the same wavevectors
// of the primitive cell whatever m.
struct sheet {
  common_var c;
  periodic_settings settings;
};

sheet graphene(int m) {
  const double a = 2.5057, h = 0.5 * std::sqrt(3.0) * a;
  std::vector<atom> atoms;
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < m; ++j)
      for (const vec3 f : {vec3{1.0 / 3, 2.0 / 3, 0}, vec3{2.0 / 3, 1.0 / 3, 0}}) {
        const double u = i + f[0], v = j + f[1];
        atoms.push_back({'C', {u * a - 0.5 * v * a, v * h, 0}});
      }
  const periodic_cell cell{{vec3{m * a, 0, 0}, vec3{-0.5 * m * a, m * h, 0}, vec3{0, 0, 20}}, {true, true, false}};
  return {molecule(atoms), {cell, kpoint_grid(cell, {6 / m, 6 / m, 1}), 300}};
}

TEST(GammaPhonons, SupercellHoldsThePrimitiveCellsModesAndStillTranslations) {
  test_model m;
  sheet primitive = graphene(1), super = graphene(2);
  const gamma_phonons p = phonons_at_gamma(primitive.c, m.par, primitive.settings, *m.solver);
  const gamma_phonons s = phonons_at_gamma(super.c, m.par, super.settings, *m.solver);
  ASSERT_EQ(p.frequencies.size(), 3u);
  ASSERT_EQ(s.frequencies.size(), 21u);
  for (double nu : p.frequencies) {
    double nearest = INFINITY;
    for (double mu : s.frequencies) nearest = std::min(nearest, std::abs(mu - nu));
    EXPECT_LT(nearest, 0.5) << nu;
  }
  for (double t : s.translations) EXPECT_LT(std::abs(t), 1.0);
}

TEST(GammaPhonons, HarmonicThermoReachesEquipartitionAndSkipsImaginaryModes) {
  // A soft mode at high temperature holds k T of energy; an imaginary one is left out.
  const vibrational_thermo t = harmonic_thermo({1.0, -50.0}, 2000);
  EXPECT_NEAR(t.internal_energy, boltzmann_ev * 2000, 1e-6);
  EXPECT_EQ(t.imaginary_modes, 1);
  EXPECT_NEAR(t.free_energy, t.internal_energy - 2000 * t.entropy, 1e-15);
  const vibrational_thermo cold = harmonic_thermo({1000.0}, 0);
  EXPECT_EQ(cold.internal_energy, cold.zero_point_energy);
  EXPECT_EQ(cold.entropy, 0);
}

}  // namespace
}  // namespace tbrelax
