// The LAPACK path against our own solver on whole evaluations. Where the highest occupied level
// is not degenerate, the occupied space is well defined and the two paths may differ by
// rounding only.

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "linalg/electronic_solver.hpp"
#include "support/molecules.hpp"
#include "tb/force.hpp"

namespace tbrelax {
namespace {

using testing::atom;

// Benzene with every atom moved a little: no symmetry is left to make levels degenerate.
std::vector<atom> distorted_benzene() {
  std::vector<atom> atoms = testing::benzene_atoms();
  for (std::size_t a = 0; a < atoms.size(); ++a)
    for (int k = 0; k < 3; ++k) atoms[a].r[k] += 0.04 * std::sin(1.7 * a + 2.3 * k + 0.5);
  return atoms;
}

struct evaluation {
  double E;
  std::vector<double> fx, fy, fz, eps;
};

evaluation evaluate(const std::vector<atom>& atoms, const std::string& solver) {
  testing::test_model m(make_solver(solver));
  common_var c = testing::molecule(atoms);
  evaluation_details details;
  const double E = force(c, m.model, &details);
  return {E, c.fx, c.fy, c.fz, details.eps};
}

TEST(LapackAgreement, EnergiesAndForcesMatchOurOwnSolver) {
  if (!make_solver("lapack")) GTEST_SKIP() << "this build has no LAPACK solver";
  const std::vector<std::pair<std::string, std::vector<atom>>> molecules{
      {"water", testing::water_atoms()},           {"ammonia", testing::ammonia_atoms()},
      {"formaldehyde", testing::formaldehyde_atoms()}, {"bent N2O", testing::bent_n2o_atoms()},
      {"distorted benzene", distorted_benzene()}};
  for (const auto& [name, atoms] : molecules) {
    const evaluation own = evaluate(atoms, "own"), lapack = evaluate(atoms, "lapack");
    // The premise: a non-degenerate highest occupied level, apart from its neighbours.
    const common_var c = testing::molecule(atoms);
    const int homo = (c.el_count + 1) / 2 - 1;
    ASSERT_GT(own.eps[homo] - own.eps[homo - 1], 1e-3) << name;
    ASSERT_GT(own.eps[homo + 1] - own.eps[homo], 1e-3) << name;

    EXPECT_NEAR(lapack.E, own.E, 1e-9) << name;
    for (std::size_t a = 0; a < own.fx.size(); ++a) {
      EXPECT_NEAR(lapack.fx[a], own.fx[a], 1e-7) << name << " atom " << a;
      EXPECT_NEAR(lapack.fy[a], own.fy[a], 1e-7) << name << " atom " << a;
      EXPECT_NEAR(lapack.fz[a], own.fz[a], 1e-7) << name << " atom " << a;
    }
  }
}

// The reference values of the model hold on the LAPACK path too.
TEST(LapackAgreement, WaterReferenceEnergy) {
  if (!make_solver("lapack")) GTEST_SKIP() << "this build has no LAPACK solver";
  EXPECT_NEAR(evaluate(testing::water_atoms(), "lapack").E, -8.6857502, 5e-8);
}

}  // namespace
}  // namespace tbrelax
