// The minimum check: saddle points held by symmetry are left for the minimum beyond them, true
// minima pass at the cost of the check's products alone, constraints hold throughout.
#include "optimize/verified_minimum.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "driver/vibration_study.hpp"
#include "hessian/vibrations.hpp"
#include "optimize/optimiser_run.hpp"
#include "support/molecules.hpp"

namespace tbrelax {
namespace {

using testing::atom;

// One "atom" on (x - 1)^2 + (y^2 - 1)^2 + 3 z^2: a saddle point at (1, 0, 0) between the minima at
// (1, +-1, 0). A start on y = 0 has no force along y, so no optimiser leaves that line by itself.
class double_well final : public objective {
 public:
  search_point evaluate(std::vector<double> x) override {
    ++evaluations_;
    search_point p;
    const double y2 = x[1] * x[1];
    p.value = p.energy = (x[0] - 1) * (x[0] - 1) + (y2 - 1) * (y2 - 1) + 3 * x[2] * x[2];
    p.force = {-2 * (x[0] - 1), -4 * x[1] * (y2 - 1), -6 * x[2]};
    p.x = std::move(x);
    return p;
  }
};

TEST(VerifiedMinimum, DoubleWellFromItsSymmetricLine) {
  struct row {
    minimum_check_settings check;
    double value, lowest, highest;  // at the end: the value, the bounds of the curvature found
    int escapes;
    bool performed, verified;
  };
  minimum_check_settings off, no_escape;
  off.enabled = false;
  no_escape.max_escapes = 0;
  // The curvatures at the end: -4 along y at the saddle point, found as soon as the estimate,
  // an upper bound, drops below the threshold; 2 along x at a minimum, found exactly.
  for (const row& r : std::vector<row>{{{}, 0.0, 1.99, 2.01, 1, true, true},
                                       {no_escape, 1.0, -4.01, -1.0, 0, true, false},
                                       {off, 1.0, 0, 0, 0, false, false}}) {
    for (const std::string method : {"lbfgs", "fire"}) {
      double_well f;
      const verified_minimisation v = minimise_verified(
          f, [&] { return make_step_strategy(method); }, f.evaluate({0.0, 0.0, 0.5}), {1e-4, 1000}, r.check);
      const minimum_check_outcome& k = v.check;
      EXPECT_EQ(v.run.reason, stop_reason::converged) << method;
      EXPECT_NEAR(v.run.end.value, r.value, 1e-6) << method;
      EXPECT_EQ(k.performed, r.performed) << method;
      EXPECT_EQ(k.verified, r.verified) << method;
      EXPECT_EQ(k.escapes, r.escapes) << method;
      if (r.performed) {
        EXPECT_GE(k.curvature, r.lowest) << method;
        EXPECT_LE(k.curvature, r.highest) << method;
      }
      // Three directions: a check never needs more than three products, plus two probes per escape.
      EXPECT_LE(k.evaluations, 3 * (k.escapes + 1) + 2 * k.escapes) << method;
    }
  }
}

TEST(VerifiedMinimum, ThresholdInWavenumbersAndCurvatures) {
  EXPECT_NEAR(wavenumber(curvature_of_wavenumber(-50.0)), -50.0, 1e-9);
  EXPECT_NEAR(curvature_of_wavenumber(50.0), 9.19e-3, 1e-5);  // eV / (angstrom^2 amu)
}

std::vector<atom> ozone_atoms() { return {{'O', {0, 0, 0}}, {'O', {1.08, 0.66, 0}}, {'O', {-1.08, 0.66, 0}}}; }

// Eclipsed, the top of ethane's torsional barrier.
std::vector<atom> eclipsed_ethane_atoms() {
  std::vector<atom> a = {{'C', {0, 0, 0.765}}, {'C', {0, 0, -0.765}}};
  for (double z : {1.16, -1.16})
    for (double phi : {0.0, 2.0943951023931953, 4.1887902047863905})
      a.push_back({'H', {1.02 * std::cos(phi), 1.02 * std::sin(phi), z}});
  return a;
}

struct run_and_modes {
  common_var c;
  optimiser_result r;
  double lowest = 0;  // cm^-1, from the full Hessian at the end point
};

run_and_modes relax_and_analyse(const std::vector<atom>& atoms, const std::string& method, bool verify,
                                std::vector<int> fixed = {}) {
  testing::test_model m;
  run_and_modes out{testing::molecule(atoms), {}, 0};
  optimiser_settings s{method, {0.01, 1000}, {std::move(fixed), {}}, {}};
  s.check.enabled = verify;
  silent_observer quiet;
  out.r = run_optimiser(out.c, m.model, s, quiet);
  common_var copy = out.c;
  out.lowest = study_vibrations(copy, m.model, {}).modes.frequencies.front();
  return out;
}

TEST(VerifiedMinimum, SaddlePointsOfSymmetricStartsAreLeftAndMinimaPass) {
  struct row {
    const char* name;
    std::vector<atom> atoms;
    double saddle_energy;  // where the optimiser alone stops (eV)
    double below;          // the verified end lies at least this far below it (eV)
    int escapes;
    std::vector<std::string> methods;
  };
  // FIRE leaves ozone's saddle point too, but then drifts with the free oxygen atom of O2 + O
  // for more steps than a test should take.
  const std::vector<std::string> both = {"lbfgs", "fire"};
  for (const row& r : std::vector<row>{{"ozone", ozone_atoms(), -7.632, 9.0, 1, {"lbfgs"}},
                                       {"eclipsed ethane", eclipsed_ethane_atoms(), -29.208, 0.05, 1, both},
                                       {"water", testing::water_atoms(), 0, 0, 0, both}}) {
    for (const std::string& method : r.methods) {
      const run_and_modes v = relax_and_analyse(r.atoms, method, true);
      const minimum_check_outcome& k = v.r.check;
      EXPECT_TRUE(k.verified) << r.name << ", " << method;
      EXPECT_GE(k.escapes, r.escapes) << r.name << ", " << method;
      EXPECT_GT(v.lowest, -50.0) << r.name << ", " << method;
      EXPECT_GT(k.wavenumber, -50.0) << r.name << ", " << method;
      if (r.escapes == 0) {
        // The check spans water's three vibrations: its curvature is the Hessian's lowest.
        EXPECT_EQ(k.escapes, 0) << method;
        EXPECT_LE(k.evaluations, 3) << method;
        EXPECT_NEAR(k.wavenumber, v.lowest, 0.01 * v.lowest) << method;
        continue;
      }
      const run_and_modes plain = relax_and_analyse(r.atoms, method, false);
      EXPECT_FALSE(plain.r.check.performed);
      EXPECT_NEAR(plain.r.E, r.saddle_energy, 1e-3) << r.name << ", " << method;
      EXPECT_LT(plain.lowest, -50.0) << r.name << ", " << method;
      EXPECT_LT(v.r.E, plain.r.E - r.below) << r.name << ", " << method;
      EXPECT_EQ(v.r.evaluations - plain.r.evaluations > k.evaluations, true) << r.name << ", " << method;
    }
  }
}

// One fixed atom leaves three flat rotations about it, two on a line one; the check leaves
// them out and still finds the torsion.
TEST(VerifiedMinimum, FixedAtomsKeepEveryBitThroughChecksAndEscapes) {
  const std::vector<atom> atoms = eclipsed_ethane_atoms();
  for (const std::vector<int>& fixed : {std::vector<int>{0}, std::vector<int>{0, 1}, std::vector<int>{0, 2}}) {
    const run_and_modes v = relax_and_analyse(atoms, "plbfgs", true, fixed);
    EXPECT_EQ(v.r.check.escapes, 1) << fixed.size();
    EXPECT_TRUE(v.r.check.verified);
    for (int a : fixed) {
      EXPECT_EQ(v.c.x[a], atoms[a].r[0]);
      EXPECT_EQ(v.c.y[a], atoms[a].r[1]);
      EXPECT_EQ(v.c.z[a], atoms[a].r[2]);
    }
  }
}

}  // namespace
}  // namespace tbrelax
