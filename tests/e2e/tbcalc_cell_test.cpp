// tbcalc relax --cell and the stress in tbcalc energy's report.
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "tbcalc_test_support.hpp"

namespace tbrelax {
namespace {

using testing::json_number;
using testing::json_numbers;
using testing::read_text;
using testing::tbcalc;
using testing::temp_dir;
using testing::write_text;

const char* const graphene =
    "2\nLattice=\"2.55 0 0 -1.275 2.2083647796503186 0 0 0 20\" pbc=\"T T F\" title=\"graphene\"\n"
    "C 0 1.4722431864335457 0\nC 1.275 0.73612159321677287 0\n";

TEST(TbcalcCell, RelaxedSheetReadsBackWithTheStressItReported) {
  temp_dir dir;
  write_text(dir / "g.xyz", graphene);
  const auto r = tbcalc({"relax", "--cell", "--json", "--trajectory", "t.xyz", "g.xyz"}, dir.path());
  ASSERT_EQ(r.status, 0) << r.err;
  const std::vector<double> stress = json_numbers(r.out, "stress");
  ASSERT_EQ(stress.size(), 6u);
  EXPECT_LT(std::abs(stress[0]) * 160.21766208, 0.005);
  const std::vector<double> lattice = json_numbers(r.out, "lattice");
  ASSERT_EQ(lattice.size(), 9u);
  EXPECT_NEAR(json_number(r.out, "area"), lattice[0] * lattice[4] - lattice[1] * lattice[3], 1e-12);
  EXPECT_EQ(lattice[8], 20);  // the vacuum vector stays
  // Every frame carries its cell and stress; the relaxed file evaluates to the same stress.
  const std::string frames = read_text(dir / "t.xyz");
  EXPECT_EQ(frames.find("Lattice=\"2.55 0 0"), frames.find('\n') + 1);
  EXPECT_NE(frames.find("stress=\""), std::string::npos);
  const auto again = tbcalc({"energy", "--json", "g.relaxed.xyz"}, dir.path());
  ASSERT_EQ(again.status, 0) << again.err;
  const std::vector<double> re = json_numbers(again.out, "stress");
  ASSERT_EQ(re.size(), 6u);
  for (int v = 0; v < 6; ++v) EXPECT_NEAR(re[v], stress[v], 1e-12) << v;
}

TEST(TbcalcCell, StrainRampHoldsItsAxisAndRelaxesTheOthers) {
  // Uniaxial stress: the stretched sheet pulls back along x while yy relaxes to zero.
  temp_dir dir;
  write_text(dir / "g.xyz", graphene);
  const auto r = tbcalc({"relax", "--cell", "--json", "--strain", "xx:0.01:0.03:2", "g.xyz"}, dir.path());
  ASSERT_EQ(r.status, 0) << r.err;
  // Per point: strain, evaluations, F and the six stresses.
  const std::vector<double> ramp = json_numbers(r.out, "ramp");
  ASSERT_EQ(ramp.size(), 18u);
  EXPECT_EQ(ramp[9], 0.03);
  EXPECT_GT(ramp[12], ramp[3] + 0.015);  // xx: about 2 percent of C11 / V
  for (int point : {0, 9}) EXPECT_LT(std::abs(ramp[point + 4]), 0.005 / 160.21766208);  // yy
  const std::string relaxed = read_text(dir / "g.relaxed.xyz");
  EXPECT_NEAR(std::stod(relaxed.substr(relaxed.find("Lattice=\"") + 9)), 2.55 * 1.03, 1e-12);
}

TEST(TbcalcCell, CollapsingCellStopsAndKeepsItsLastStructure) {
  // Diamond under 100 TPa: the cell shrinks without bound, so the run stops once the volume is a
  // tenth of the start, and the last structure before that is in the output.
  temp_dir dir;
  write_text(dir / "d.xyz",
             "2\nLattice=\"0 1.7835 1.7835 1.7835 0 1.7835 1.7835 1.7835 0\" pbc=\"T T T\"\n"
             "C 0 0 0\nC 0.89175 0.89175 0.89175\n");
  const auto r = tbcalc({"relax", "--cell", "--kpoints", "1,1,1", "--pressure", "1e5", "d.xyz"}, dir.path());
  EXPECT_EQ(r.status, 3);
  EXPECT_EQ(r.err.substr(r.err.rfind("tbcalc: ")), "tbcalc: d.xyz: error: the cell shrank below a tenth of its starting volume; the last structure "
                   "before is in d.relaxed.xyz\n");
  const std::string last = read_text(dir / "d.relaxed.xyz");
  std::istringstream lattice(last.substr(last.find("Lattice=\"") + 9));
  double v[9];
  for (double& x : v) lattice >> x;
  const double volume = std::abs(v[0] * (v[4] * v[8] - v[5] * v[7]) - v[1] * (v[3] * v[8] - v[5] * v[6]) +
                                 v[2] * (v[3] * v[7] - v[4] * v[6]));
  const double start = 2 * std::pow(1.7835, 3);
  EXPECT_GE(volume, 0.1 * start);
  EXPECT_LT(volume, 0.5 * start);
}

TEST(TbcalcCell, FaultyCellOptionsEndWithTheUsageStatus) {
  temp_dir dir;
  write_text(dir / "g.xyz", graphene);
  write_text(dir / "w.xyz", "3\nwater\nO 0 0 0.117\nH 0 0.757 -0.467\nH 0 -0.757 -0.467\n");
  const struct {
    std::vector<std::string> args;
    std::string first_line;
  } faults[] = {
      {{"relax", "--cell", "w.xyz"}, "tbcalc: w.xyz: error: --cell needs a periodic structure (a Lattice with pbc=\"T ...\" on its comment line)"},
      {{"relax", "--cell", "--pressure", "nan", "g.xyz"}, "tbcalc: --pressure: a finite number is needed, not 'nan'"},
      {{"relax", "--cell", "--smax", "inf", "g.xyz"}, "tbcalc: --smax: a number above 0 is needed, not 'inf'"},
      {{"relax", "--cell", "--cell-mask", "xx,zz", "g.xyz"}, "tbcalc: g.xyz: error: --cell-mask: zz involves a direction that does not repeat (a sheet, periodic along a1 a2)"},
      {{"relax", "--cell", "--cell-mask", "xx,xy,yx", "g.xyz"}, "tbcalc: --cell-mask: 'yx' is named twice"},
      {{"relax", "--smax", "0.1", "g.xyz"}, "tbcalc: --smax needs --cell"},
      {{"relax", "--cell", "--method", "sd", "g.xyz"}, "tbcalc: --cell needs --method plbfgs, lbfgs or fire"},
      {{"elastic", "w.xyz"}, "tbcalc: w.xyz: error: elastic needs a periodic structure (a Lattice with pbc=\"T ...\" on its comment line)"},
      {{"elastic", "--strain", "0.5", "g.xyz"}, "tbcalc: --strain: a strain of at most 0.1 is needed, not '0.5'"},
      {{"freq", "--molden", "g.molden", "g.xyz"}, "tbcalc: g.xyz: error: --molden works with molecules only"},
      {{"freq", "--electronic-temperature", "100", "w.xyz"}, "tbcalc: w.xyz: error: --kpoints, --kpoint-shift and --electronic-temperature work with periodic structures in freq"},
  };
  for (const auto& f : faults) {
    const auto r = tbcalc(f.args, dir.path());
    EXPECT_EQ(r.status, 64) << f.first_line;
    EXPECT_EQ(r.err.substr(0, r.err.find('\n')), f.first_line);
  }
  EXPECT_FALSE(std::filesystem::exists(dir / "g.relaxed.xyz"));
}

}  // namespace
}  // namespace tbrelax
