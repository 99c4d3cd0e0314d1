// Mulliken charges and the dipole: neutrality, symmetry, rotation (water's values are checked
// on tbcalc's report).
#include "tb/charges.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "support/molecules.hpp"

namespace tbrelax {
namespace {

using testing::atom;
using testing::molecule;
using testing::test_model;

struct charged {
  std::vector<double> q;
  std::array<double, 3> mu;  // debye
};

charged charges_of(const std::vector<atom>& atoms) {
  test_model m;
  common_var c = molecule(atoms);
  force(c, m.model);
  charged r{mulliken_charges(c, m.workspace), {}};
  const auto mu = dipole_moment(c, r.q);
  for (int k = 0; k < 3; ++k) r.mu[k] = mu[k] * debye_per_e_angstrom;
  return r;
}

double norm(const std::array<double, 3>& v) { return std::hypot(v[0], v[1], v[2]); }

struct neutral_case {
  const char* name;
  std::vector<atom> atoms;
  bool centrosymmetric_or_tetrahedral;  // no dipole by symmetry
};

TEST(Charges, SumToZeroAndVanishingDipolesOfSymmetricMolecules) {
  const neutral_case cases[] = {
      {"water", testing::water_atoms(), false},
      {"ammonia", testing::ammonia_atoms(), false},
      {"methane", testing::methane_atoms(), true},
      {"benzene", testing::benzene_atoms(), true},
      {"NO radical", {{'N', {0, 0, 0}}, {'O', {0, 0, 1.15}}}, false},
      {"hydrogen atom", {{'H', {0.3, 0.2, 0.1}}}, true},
  };
  for (const auto& k : cases) {
    const charged r = charges_of(k.atoms);
    double sum = 0;
    for (double q : r.q) sum += q;
    EXPECT_NEAR(sum, 0.0, 1e-10) << k.name;
    if (k.centrosymmetric_or_tetrahedral) EXPECT_LT(norm(r.mu), 1e-10) << k.name;
    else EXPECT_GT(norm(r.mu), 0.01) << k.name;
  }
}

TEST(Charges, DipoleTurnsWithTheMoleculeAndIgnoresTranslation) {
  const auto atoms = testing::formaldehyde_atoms();
  const charged plain = charges_of(atoms);
  // A turn of 0.8 rad about x, then a shift.
  const double c = std::cos(0.8), s = std::sin(0.8);
  std::vector<atom> moved = atoms;
  for (atom& a : moved) a.r = {a.r[0] + 2.0, c * a.r[1] - s * a.r[2] - 1.0, s * a.r[1] + c * a.r[2] + 0.5};
  const charged turned = charges_of(moved);
  for (std::size_t a = 0; a < atoms.size(); ++a) EXPECT_NEAR(turned.q[a], plain.q[a], 1e-9);
  const std::array<double, 3> expected = {plain.mu[0], c * plain.mu[1] - s * plain.mu[2],
                                          s * plain.mu[1] + c * plain.mu[2]};
  for (int k = 0; k < 3; ++k) EXPECT_NEAR(turned.mu[k], expected[k], 1e-8) << k;
}

}  // namespace
}  // namespace tbrelax
