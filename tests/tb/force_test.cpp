#include "tb/force.hpp"

#include <gtest/gtest.h>

#include "support/hooked_solver.hpp"
#include "support/molecules.hpp"

namespace tbrelax {
namespace {

using testing::molecule;
using testing::test_model;

TEST(Force, WaterReferenceEnergyAndForces) {
  test_model m;
  common_var c = molecule(testing::water_atoms());
  const double E = force(c, m.model);
  EXPECT_NEAR(E, -8.6857502, 5e-8);
  const double expected[3][3] = {{0, 0, 1.23032}, {0, 1.64924, -0.61516}, {0, -1.64924, -0.61516}};
  for (int a = 0; a < 3; ++a) {
    EXPECT_NEAR(c.fx[a], expected[a][0], 1e-5) << a;
    EXPECT_NEAR(c.fy[a], expected[a][1], 1e-5) << a;
    EXPECT_NEAR(c.fz[a], expected[a][2], 1e-5) << a;
  }
}

// Two made-up negative overlap eigenvalues.
TEST(Force, EachNegativeOverlapEigenvalueGetsItsLineAndPause) {
  test_model m(std::make_unique<testing::hooked_solver>([](int, const matrix&, electronic_result& out) {
                 out.negative_overlaps = {{1, -0.25}, {2, -1e-3}};
               }),
               "a\nb\nc\n");
  common_var c = molecule(testing::water_atoms());
  EXPECT_NEAR(force(c, m.model), -8.6857502, 5e-8);  // the evaluation goes on
  EXPECT_EQ(m.screen.str(), "  Error S<0.           1  -2.5000000000000000E-01\n"
                            "  Error S<0.           2  -1.0000000000000000E-03\n");
  std::string left;
  std::getline(m.keyboard, left);
  EXPECT_EQ(left, "c");
}

// Where S is not safely positive definite, every solver takes the canonical route, which reports
// each negative overlap eigenvalue. An N and an O atom 1e-8 angstrom apart overlap by more than
// one in their p orbitals across the axis: two eigenvalues 1 - 1.167. Two H atoms 1e-4 angstrom
// apart leave S positive definite but nearly singular (smallest eigenvalue 2e-8): no line.
TEST(Force, CrushedAtomsTakeTheCanonicalRouteWithItsLines) {
  struct crushed {
    std::vector<testing::atom> atoms;
    std::string screen;
  };
  const std::vector<crushed> cases{
      {{{'N', {0, 0, 0}}, {'O', {1e-8, 0, 0}}},
       "  Error S<0.           1  -1.6718919113289576E-01\n  Error S<0.           2  -1.6718919113289576E-01\n"},
      {{{'H', {0, 0, 0}}, {'H', {1e-4, 0, 0}}}, ""}};
  for (const crushed& x : cases)
    for (const std::string& name : available_solvers()) {
      auto solver = make_solver(name);
      if (!solver) continue;
      test_model m(std::move(solver), "\n\n");
      common_var c = molecule(x.atoms);
      evaluation_details details;
      force(c, m.model, &details);
      EXPECT_EQ(details.route, electronic_route::canonical) << name;
      EXPECT_EQ(m.screen.str(), x.screen) << name;
    }
}

}  // namespace
}  // namespace tbrelax
