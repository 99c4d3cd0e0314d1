#include <gtest/gtest.h>

#include <cmath>

#include "support/molecules.hpp"
#include "tb/force.hpp"

namespace tbrelax {
namespace {

using testing::atom;
using testing::molecule;
using testing::test_model;

// Largest difference between the forces and minus the central-difference gradient of E.
double worst_gradient_mismatch(const std::vector<atom>& atoms) {
  test_model m;
  common_var c = molecule(atoms);
  force(c, m.model);
  const std::vector<double>* f[3] = {&c.fx, &c.fy, &c.fz};
  double worst = 0;
  for (int a = 0; a < c.at_count; ++a)
    for (int axis = 0; axis < 3; ++axis)
      worst = std::max(worst, std::abs((*f[axis])[a] - testing::numerical_force(c, m, a, axis)));
  return worst;
}

// The forward difference of 1e-7 angstrom in dS and dH leaves errors of order 1e-7 times the
// curvature, far below 1e-5 eV/angstrom; noise in the overlaps would show up first here. N-O,
// C-N and C-O bonds, whose close Slater exponents make the closed-form overlaps cancel, get 1e-4.
TEST(ForceProperties, ForcesAreMinusTheCentralDifferenceGradient) {
  const std::vector<std::pair<std::vector<atom>, double>> cases = {
      {testing::methane_atoms(), 1e-5},
      {testing::ammonia_atoms(), 1e-5},
      {testing::formaldehyde_atoms(), 1e-5},
      {testing::hcn_atoms(), 1e-5},
      {testing::bent_n2o_atoms(), 1e-5},
      {{{'N', {0, 0, 0}}, {'O', {1.17, 0.02, 0}}}, 1e-4},                                   // NO
      {{{'O', {0, 0, 0}}, {'N', {1.21, 0, 0}}, {'O', {1.72, 1.1, 0.03}}}, 1e-4},            // NO2
      {{{'C', {0, 0, 0}}, {'N', {1.49, 0, 0}}, {'O', {2.1, 1.05, 0}}, {'O', {2.1, -1.05, 0.02}},
        {'H', {-0.36, 1.02, 0}}, {'H', {-0.36, -0.51, 0.89}}, {'H', {-0.36, -0.51, -0.89}}}, 1e-4},  // CH3NO2
      {{{'C', {0, 0, 0}}, {'O', {1.22, 0, 0}}, {'N', {-0.7, 1.17, 0}}, {'H', {-0.55, -0.95, 0}},
        {'H', {-1.71, 1.2, 0}}, {'H', {-0.2, 2.04, 0.01}}}, 1e-4},                          // formamide
  };
  for (const auto& [atoms, tolerance] : cases)
    EXPECT_LT(worst_gradient_mismatch(atoms), tolerance) << atoms.size() << " atoms";
}

// Rotating, translating or reordering the molecule is checked on the module's evaluations and
// on tbcalc's frequencies.
TEST(ForceProperties, RepulsionAndPullingPairsSumToZero) {
  test_model m;
  common_var c = molecule(testing::formaldehyde_atoms());
  const double E = force(c, m.model);
  const common_var plain = c;
  double sum[3] = {0, 0, 0};
  for (int a = 0; a < c.at_count; ++a) {
    sum[0] += c.frepx[a];
    sum[1] += c.frepy[a];
    sum[2] += c.frepz[a];
  }
  for (double s : sum) EXPECT_NEAR(s, 0.0, 1e-12);
  // A unit pulling force between atoms 2 and 1 adds (r1 - r2)/L to atom 1 and the opposite to
  // atom 2, and nothing else.
  common_var pulled = molecule(testing::formaldehyde_atoms());
  pulled.ff12 = 1.0;
  EXPECT_EQ(force(pulled, m.model), E);
  const double L = std::hypot(pulled.x[0] - pulled.x[1], pulled.y[0] - pulled.y[1], pulled.z[0] - pulled.z[1]);
  EXPECT_NEAR(pulled.fz[0] - plain.fz[0], (pulled.z[0] - pulled.z[1]) / L, 1e-12);
  EXPECT_NEAR(pulled.fz[1] - plain.fz[1], (pulled.z[1] - pulled.z[0]) / L, 1e-12);
  EXPECT_EQ(pulled.felz, plain.felz);
  EXPECT_EQ(pulled.frepz, plain.frepz);
  EXPECT_EQ(pulled.fz[2], plain.fz[2]);
}

TEST(ForceProperties, PullingPairNamingAMissingAtomIsSkipped) {
  test_model m;
  common_var c = molecule({{'O', {0, 0, 0}}});
  c.ff12 = c.ff34 = 5.0;  // atoms 2 and 1: there is no atom 2
  EXPECT_NO_THROW(force(c, m.model));
  EXPECT_EQ(c.fx[0], 0.0);
}

}  // namespace
}  // namespace tbrelax
