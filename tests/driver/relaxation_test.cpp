#include "driver/relaxation.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "state/errors.hpp"
#include "support/hooked_solver.hpp"
#include "support/molecules.hpp"

namespace tbrelax {
namespace {

using testing::molecule;
using testing::test_model;

class recording_observer final : public relaxation_observer {
 public:
  void block_started(int block, const common_var&, double E) override { starts.push_back({block, E}); }
  void block_finished(int, const common_var&, double, double E) override { ends.push_back(E); }
  std::vector<std::pair<int, double>> starts;
  std::vector<double> ends;
};

TEST(Relaxation, StopTestPerAtomAndOnARise) {
  EXPECT_TRUE(block_converged(-20.0, -20.000002, 3));    // 6.7e-7 eV per atom
  EXPECT_FALSE(block_converged(-20.0, -20.000004, 3));   // 1.33e-6
  EXPECT_FALSE(block_converged(0.0, -3e-6, 3));          // exactly at the threshold: not below it
  EXPECT_TRUE(block_converged(-20.0, -19.9, 3));         // the energy rose
  EXPECT_FALSE(block_converged(0.0, std::nan(""), 3));   // a NaN never converges: the loop checks it itself
}

TEST(Relaxation, CountsEvaluationsAndRepeatsTheFirstOne) {
  test_model m;
  common_var c = molecule(testing::water_atoms());
  std::vector<matrix> hamiltonians;
  testing::hooked_solver solver([&](int, const matrix& H, electronic_result&) { hamiltonians.push_back(H); });
  const energy_model model{m.par, solver, m.con};
  recording_observer observer;
  const relaxation_result r = relax(c, m.drv, model, observer);
  EXPECT_EQ(r.evaluations, 20 * r.blocks + 1);
  EXPECT_EQ(solver.calls, r.evaluations);
  EXPECT_TRUE(hamiltonians[0] == hamiltonians[1]);  // same geometry twice
  EXPECT_FALSE(hamiltonians[1] == hamiltonians[2]);
  ASSERT_EQ(observer.starts.size(), static_cast<std::size_t>(r.blocks));
  for (int b = 0; b + 1 < r.blocks; ++b) EXPECT_EQ(observer.starts[b + 1].second, observer.ends[b]);
  EXPECT_EQ(observer.ends.back(), r.E);
}

TEST(Relaxation, NonFiniteEnergyStopsBeforeAnyAtomMoves) {
  test_model m;
  common_var c = molecule(testing::water_atoms());
  // The fifth evaluation's orbital energies are spoiled; the atoms stay where it saw them.
  std::vector<double> x_at_fifth;
  testing::hooked_solver solver([&](int call, const matrix&, electronic_result& out) {
    if (call == 5) x_at_fifth = c.x, out.eps[0] = std::numeric_limits<double>::quiet_NaN();
  });
  const energy_model model{m.par, solver, m.con};
  recording_observer observer;
  EXPECT_THROW(relax(c, m.drv, model, observer), numerical_error);
  EXPECT_EQ(solver.calls, 5);
  for (int a = 0; a < c.at_count; ++a) EXPECT_NEAR(c.x[a], x_at_fifth[a], 1e-15);
  common_var empty = molecule({});
  EXPECT_THROW(relax(empty, m.drv, model, observer), std::invalid_argument);
}

}  // namespace
}  // namespace tbrelax
