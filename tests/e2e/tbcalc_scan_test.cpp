// tbcalc scan: the frames it writes hold the coordinate exactly, and bad coordinates are refused.
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "tbcalc_test_support.hpp"

namespace tbrelax {
namespace {

using testing::expect_refusals;
using testing::json_numbers;
using testing::read_text;
using testing::tbcalc;
using testing::temp_dir;
using testing::write_text;

const std::filesystem::path ethane = std::filesystem::path(TBRELAX_SOURCE_DIR) / "examples" / "reactions" / "ethane.xyz";

TEST(TbcalcScan, FramesHoldTheDistanceAndCarryTheEnergiesOfTheJson) {
  temp_dir dir;
  const auto r = tbcalc({"scan", "--json", "--distance", "1,2,1.5,1.7,4", "-o", "s.xyz", ethane.string()}, dir.path());
  ASSERT_EQ(r.status, 0) << r.err;
  const std::vector<double> energies = json_numbers(r.out, "energy");  // the first point's
  const std::vector<double> values = json_numbers(r.out, "values");
  ASSERT_EQ(values.size(), 1u);
  EXPECT_EQ(values[0], 1.5);
  std::istringstream frames(read_text(dir / "s.xyz"));
  int count = 0;
  for (int n; frames >> n; ++count) {
    std::string comment, symbol;
    std::getline(frames, comment);
    std::getline(frames, comment);
    double r1[3], r2[3], skip;
    frames >> symbol >> r1[0] >> r1[1] >> r1[2] >> symbol >> r2[0] >> r2[1] >> r2[2];
    for (int line = 2; line < n; ++line) frames >> symbol >> skip >> skip >> skip;
    EXPECT_NEAR(std::hypot(r2[0] - r1[0], r2[1] - r1[1], r2[2] - r1[2]), 1.5 + 0.05 * count, 1e-10) << comment;
    EXPECT_NE(comment.find(" point=" + std::to_string(count) + " "), std::string::npos) << comment;
    if (count == 0) {
      ASSERT_EQ(energies.size(), 1u);
      EXPECT_EQ(std::stod(comment.substr(comment.find("energy=") + 7)), energies[0]) << comment;
    }
  }
  EXPECT_EQ(count, 5);
}

TEST(TbcalcScan, RefusesCoordinatesTheMoleculeCannotTake) {
  temp_dir dir;
  write_text(dir / "hcn.xyz", "3\nlinear\nH 0 0 -1.07\nC 0 0 0\nN 0 0 1.16\n");
  write_text(dir / "c2h2.xyz", "4\nlinear\nH 0 0 -1.67\nC 0 0 -0.6\nC 0 0 0.6\nH 0 0 1.67\n");
  std::filesystem::copy_file(ethane, dir / "ethane.xyz");
  expect_refusals("scan", {
      {{"--distance", "1,9,1.5,2,2", "ethane.xyz"}, 64, "atom 9 of d(1,9) does not exist (the molecule has 8 atoms)"},
      {{"--distance", "2,2,1.5,2,2", "ethane.xyz"}, 64, "atom 2 appears twice"},
      {{"--distance", "1,2,1.5,2", "ethane.xyz"}, 64, "A,B,FROM,TO,STEPS (atoms from 1, angstrom) is needed"},
      {{"--distance", "1,2,0,2,2", "ethane.xyz"}, 64, "a distance must be above 0"},
      {{"--angle", "3,1,2,100,180,2", "ethane.xyz"}, 64, "between 1 and 179 degrees"},
      {{"--distance", "1,2,1.5,2,2", "--angle", "3,1,2,100,110,3", "ethane.xyz"}, 64, "same number of steps (2, not 3)"},
      {{"ethane.xyz"}, 64, "no coordinate to scan"},
      {{"--angle", "1,2,3,170,160,2", "hcn.xyz"}, 1, "the atoms of a(1,2,3) lie in a line"},
      {{"--dihedral", "1,2,3,4,0,90,3", "c2h2.xyz"}, 1, "the atoms of t(1,2,3,4) lie in a line"},
  }, dir.path());
}

}  // namespace
}  // namespace tbrelax
