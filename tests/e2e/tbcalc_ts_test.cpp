// tbcalc ts: the HCN <-> HNC saddle point from guesses on either side, and what a minimum
// given as the guess is reported as.
#include <gtest/gtest.h>

#include "tbcalc_test_support.hpp"

namespace tbrelax {
namespace {

using testing::json_number;
using testing::json_numbers;
using testing::tbcalc;
using testing::temp_dir;
using testing::write_text;

TEST(TbcalcTs, FindsTheHcnIsomerisationSaddleFromEitherSide) {
  temp_dir dir;
  // H leaning towards C, and towards N, above the C-N bond.
  write_text(dir / "near_c.xyz", "3\nnear C\nC 0 0 0\nN 1.17 0 0\nH 0.3 1.05 0\n");
  write_text(dir / "near_n.xyz", "3\nnear N\nC 0 0 0\nN 1.17 0 0\nH 0.95 1.0 0\n");
  std::vector<double> energies;
  for (const std::string guess : {"near_c.xyz", "near_n.xyz"}) {
    const auto r = tbcalc({"ts", "--json", guess}, dir.path());
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("\"verified\": true"), std::string::npos) << r.out;
    const std::vector<double> imaginary = json_numbers(r.out, "imaginary_wavenumbers");
    ASSERT_EQ(imaginary.size(), 1u) << r.out;
    EXPECT_NEAR(imaginary[0], -1368.8, 1.0);
    EXPECT_LE(json_number(r.out, "evaluations"), 40);
    energies.push_back(json_number(r.out, "energy"));
  }
  EXPECT_NEAR(energies[0], energies[1], 1e-6);
  EXPECT_NEAR(energies[0], -10.08492, 1e-4);
}

TEST(TbcalcTs, AnEndPointWithoutImaginaryModeIsReportedAsNoSaddlePoint) {
  temp_dir dir;
  const auto hcn = std::filesystem::path(TBRELAX_SOURCE_DIR) / "examples" / "reactions" / "hcn.xyz";
  const auto r = tbcalc({"ts", "--max-steps", "0", hcn.string(), "-o", "out.xyz"}, dir.path());
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("imaginary modes          0 ("), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("verdict                  not converged; no imaginary mode: a minimum"), std::string::npos) << r.out;
  EXPECT_EQ(tbcalc({"ts", "a.xyz", "b.xyz"}, dir.path()).status, 64);
}

}  // namespace
}  // namespace tbrelax
