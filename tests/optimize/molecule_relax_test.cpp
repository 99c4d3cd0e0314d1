// The optimisers on the model: the minimum steepest descent finds, fixed atoms, pulling pairs.
#include <gtest/gtest.h>

#include <cmath>

#include "driver/evaluation.hpp"
#include "optimize/optimiser_run.hpp"
#include "support/molecules.hpp"

namespace tbrelax {
namespace {

using testing::molecule;
using testing::test_model;

struct relaxed_run {
  common_var c;
  optimiser_result r;
};

relaxed_run optimise(const std::vector<testing::atom>& atoms, const std::string& method, constraints k = {}) {
  test_model m;
  relaxed_run out{molecule(atoms), {}};
  silent_observer quiet;
  out.r = run_optimiser(out.c, m.model, {method, {0.01, 1000}, std::move(k), {}}, quiet);
  return out;
}

double distance(const common_var& c, int a, int b) {
  return std::hypot(c.x[b] - c.x[a], c.y[b] - c.y[a], c.z[b] - c.z[a]);
}

TEST(MoleculeRelaxation, OptimisersEndAtSteepestDescentsMinimumInAFractionOfItsEvaluations) {
  for (const auto& atoms : {testing::water_atoms(), testing::benzene_atoms()}) {
    test_model m;
    common_var sd = molecule(atoms);
    silent_observer quiet;
    const relaxation_result descent = relax(sd, m.drv, m.model, quiet);
    const double E_sd = evaluate_finite(sd, m.model);
    for (const std::string method : {"lbfgs", "plbfgs", "fire"}) {
      const relaxed_run run = optimise(atoms, method);
      EXPECT_EQ(run.r.reason, stop_reason::converged) << method;
      EXPECT_LT(find_largest_force(run.c).magnitude, 0.01);
      EXPECT_NEAR(run.r.E / sd.at_count, E_sd / sd.at_count, 1e-5) << method << ", " << sd.at_count << " atoms";
      EXPECT_LT(3 * (run.r.evaluations - run.r.check.evaluations), descent.evaluations + 1) << method;
      // The energy reported is the one of the relaxed coordinates themselves.
      common_var again = run.c;
      EXPECT_EQ(evaluate_finite(again, m.model), run.r.E);
    }
  }
}

TEST(MoleculeRelaxation, FixedAtomsKeepEveryBit) {
  auto atoms = testing::benzene_atoms();
  for (auto& a : atoms) a.r[2] += 0.02 * a.r[0];  // tilt the ring out of its plane
  for (const std::string method : {"lbfgs", "plbfgs", "fire"}) {
    const relaxed_run run = optimise(atoms, method, {{0, 4, 7}, {}});
    EXPECT_EQ(run.r.reason, stop_reason::converged);
    for (int a : {0, 4, 7}) {
      EXPECT_EQ(run.c.x[a], atoms[a].r[0]);
      EXPECT_EQ(run.c.y[a], atoms[a].r[1]);
      EXPECT_EQ(run.c.z[a], atoms[a].r[2]);
      EXPECT_EQ(std::hypot(run.c.fx[a], run.c.fy[a], run.c.fz[a]), 0.0);  // not counted toward fmax
    }
    EXPECT_NE(run.c.z[1], atoms[1].r[2]);
  }
}

TEST(MoleculeRelaxation, PullingPairActsAsTheModelsOwnAndItsPotentialMatchesTheForces) {
  test_model m;
  common_var built_in = molecule(testing::water_atoms());
  built_in.ff12 = 0.7;  // atoms 2 and 1
  force(built_in, m.model);
  common_var c = molecule(testing::water_atoms());
  molecule_objective f(c, m.model, {{}, {{2, 1, 0.7}}});
  const search_point p = f.evaluate(f.positions());
  for (int a = 0; a < 3; ++a) {
    EXPECT_EQ(p.force[3 * a], built_in.fx[a]);
    EXPECT_EQ(p.force[3 * a + 1], built_in.fy[a]);
    EXPECT_EQ(p.force[3 * a + 2], built_in.fz[a]);
  }
  EXPECT_EQ(p.value, p.energy - 0.7 * distance(c, 0, 1));
  // Minus the central difference of the value along the pulled atom's axis is its force.
  const double h = 1e-5;
  std::vector<double> plus = p.x, minus = p.x;
  plus[4] += h;
  minus[4] -= h;
  EXPECT_NEAR(-(f.evaluate(plus).value - f.evaluate(minus).value) / (2 * h), p.force[4], 1e-5);
}

TEST(MoleculeRelaxation, PulledBondLengthensWithTheForceAndBalancesIt) {
  double last = 0;
  for (double F : {0.0, 0.5, 1.0, 2.0}) {
    const relaxed_run run = optimise({{'H', {0, 0, 0}}, {'H', {0.74, 0, 0}}}, "lbfgs", {{}, {{1, 2, F}}});
    const double L = distance(run.c, 0, 1);
    EXPECT_GT(L, last) << F;
    last = L;
    // What the model pulls back on atom 2 is F, to within the force criterion.
    EXPECT_NEAR(run.c.fx[1] - F, -F, 0.01);
  }
}

}  // namespace
}  // namespace tbrelax
