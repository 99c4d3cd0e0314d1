#include "tb/repulsion.hpp"

#include <gtest/gtest.h>

#include "support/molecules.hpp"

namespace tbrelax {
namespace {

using testing::molecule;
using testing::test_model;

TEST(Repulsion, PairReferenceValues) {
  test_model t;
  EXPECT_DOUBLE_EQ(ener_rep(molecule({{'H', {0, 0, 0}}, {'H', {0.75, 0, 0}}}), t.par, t.con), 0.78);
  EXPECT_NEAR(ener_rep(molecule({{'H', {0, 0, 0}}, {'H', {0.74, 0, 0}}}), t.par, t.con), 0.8352189614, 1e-10);
  EXPECT_NEAR(ener_rep(molecule({{'C', {0, 0, 0}}, {'O', {0, 1.3, 0}}}), t.par, t.con), 2.6601741222, 1e-10);
}

TEST(Repulsion, NoPairsNoEnergyAndOrderDoesNotMatter) {
  test_model t;
  EXPECT_EQ(ener_rep(molecule({}), t.par, t.con), 0.0);
  EXPECT_EQ(ener_rep(molecule({{'N', {1, 2, 3}}}), t.par, t.con), 0.0);
  auto atoms = testing::formaldehyde_atoms();
  const double forward = ener_rep(molecule(atoms), t.par, t.con);
  std::reverse(atoms.begin(), atoms.end());
  EXPECT_NEAR(ener_rep(molecule(atoms), t.par, t.con), forward, 1e-13);
  EXPECT_GT(ener_rep(molecule({{'H', {0, 0, 0}}, {'H', {0, 0, 30}}}), t.par, t.con), 0.0);
}

TEST(Repulsion, DistBeyondTheAtomsIsReportedAndNeverReadsOutside) {
  std::ostringstream screen;
  std::istringstream keys("a\nb\nc\n");
  console con(screen, keys);
  const common_var c = molecule({{'H', {0, 0, 0}}, {'H', {0, 0, 1}}});
  EXPECT_DOUBLE_EQ(dist(0, 1, c, con), 1.0);
  EXPECT_THROW(dist(2, 5, c, con), std::out_of_range);
  EXPECT_EQ(screen.str(), " ERROR in subroutine dist\n ERROR in subroutine dist\n");
  std::string left;
  std::getline(keys, left);
  EXPECT_EQ(left, "c");  // one pause per bad index
}

}  // namespace
}  // namespace tbrelax
