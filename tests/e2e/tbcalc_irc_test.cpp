// tbcalc irc: from the HCN <-> HNC saddle point down to both isomers, and a structure that is
// no saddle point refused.
#include <gtest/gtest.h>

#include "tbcalc_test_support.hpp"

namespace tbrelax {
namespace {

using testing::json_numbers;
using testing::tbcalc;
using testing::temp_dir;

const std::filesystem::path reactions = std::filesystem::path(TBRELAX_SOURCE_DIR) / "examples" / "reactions";

TEST(TbcalcIrc, HcnSaddleLeadsToBothIsomers) {
  temp_dir dir;
  ASSERT_EQ(tbcalc({"ts", (reactions / "hcn_ts_guess.xyz").string(), "-o", "ts.xyz"}, dir.path()).status, 0);
  const auto r = tbcalc({"irc", "--json", "ts.xyz", "--start", (reactions / "hcn.xyz").string(), "--end",
                         (reactions / "hnc.xyz").string(), "-o", "irc.xyz"},
                        dir.path());
  ASSERT_EQ(r.status, 0) << r.err;
  // Each side's end against HCN and HNC: one matches to well below 0.05 angstrom, the other not.
  const auto backward = r.out.find("\"backward\""), forward = r.out.find("\"forward\"");
  ASSERT_NE(backward, std::string::npos);
  const std::vector<double> back = json_numbers(r.out.substr(backward), "rmsd");
  const std::vector<double> fore = json_numbers(r.out.substr(forward), "rmsd");
  ASSERT_EQ(back.size(), 1u);
  ASSERT_EQ(fore.size(), 1u);
  const double back_to_hnc = json_numbers(r.out.substr(r.out.find("hnc.xyz", backward)), "rmsd")[0];
  const double fore_to_hnc = json_numbers(r.out.substr(r.out.find("hnc.xyz", forward)), "rmsd")[0];
  EXPECT_LT(std::min(back[0], fore[0]), 1e-3);
  EXPECT_LT(std::min(back_to_hnc, fore_to_hnc), 1e-3);
  EXPECT_GT(std::max(back[0], back_to_hnc), 0.5);
  EXPECT_GT(std::max(fore[0], fore_to_hnc), 0.5);
}

TEST(TbcalcIrc, RefusesAStructureWithoutOneImaginaryMode) {
  temp_dir dir;
  const auto r = tbcalc({"irc", (reactions / "hcn.xyz").string(), "-o", "irc.xyz"}, dir.path());
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("the structure has 0 imaginary modes, not one: it is no transition state"), std::string::npos) << r.err;
}

}  // namespace
}  // namespace tbrelax
