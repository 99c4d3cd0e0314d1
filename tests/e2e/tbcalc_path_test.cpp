// tbcalc path: HCN <-> HNC from either end, its climbing image against the saddle point, and
// the ends it refuses.
#include <gtest/gtest.h>

#include "tbcalc_test_support.hpp"

namespace tbrelax {
namespace {

using testing::expect_refusals;
using testing::json_number;
using testing::json_numbers;
using testing::tbcalc;
using testing::temp_dir;
using testing::write_text;

const std::filesystem::path reactions = std::filesystem::path(TBRELAX_SOURCE_DIR) / "examples" / "reactions";

TEST(TbcalcPath, HcnIsomerisationFromEitherEndClimbsToTheSaddlePoint) {
  temp_dir dir;
  constexpr double saddle = -10.08492378;  // tbcalc ts from either side
  for (const auto& [start, end] : {std::pair{"hcn.xyz", "hnc.xyz"}, std::pair{"hnc.xyz", "hcn.xyz"}}) {
    const auto r = tbcalc({"path", "--json", "--ts", "-o", "band.xyz", (reactions / start).string(), (reactions / end).string()},
                          dir.path());
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("\"converged\": true"), std::string::npos);
    EXPECT_NEAR(json_number(r.out, "climbing_energy"), saddle, 0.01);
    const std::vector<double> profile = json_numbers(r.out, "profile");  // length, energy per image
    ASSERT_EQ(profile.size(), 18u);
    const double forward = json_number(r.out, "barrier_forward"), reverse = json_number(r.out, "barrier_reverse");
    EXPECT_NEAR(forward - reverse, profile[17] - profile[1], 1e-9);  // the ends' energy difference
    EXPECT_NEAR(json_number(r.out.substr(r.out.find("\"saddle\"")), "energy"), saddle, 1e-6);
    EXPECT_LE(json_number(r.out.substr(r.out.find("\"saddle\"")), "evaluations"), 40);
  }
}

TEST(TbcalcPath, RefusesEndsThatCannotBeJoined) {
  temp_dir dir;
  write_text(dir / "hcn.xyz", "3\nhcn\nH -1.07 0 0\nC 0 0 0\nN 1.16 0 0\n");
  write_text(dir / "cnh.xyz", "3\ncnh\nC 0 0 0\nN 1.17 0 0\nH 2.15 0 0\n");
  write_text(dir / "h2o.xyz", "3\nwater\nO 0 0 0.117\nH 0 0.757 -0.467\nH 0 -0.757 -0.467\n");
  expect_refusals("path", {
      {{"hcn.xyz", "h2o.xyz"}, 1, "h2o.xyz: error: the ends have different compositions (CHN and H2O)"},
      {{"hcn.xyz", "cnh.xyz"}, 1, "atom 1 is H at the start but C at the end: list the atoms of both ends in the same order"},
      {{"--images", "0", "hcn.xyz", "hcn.xyz"}, 64, "--images: a band needs at least 1 image, not '0'"},
      {{"hcn.xyz"}, 64, "path takes two files, START and END"},
      {{"--ts", "--no-climb", "hcn.xyz", "hcn.xyz"}, 64, "--ts needs the climbing image"},
  }, dir.path());
}

}  // namespace
}  // namespace tbrelax
