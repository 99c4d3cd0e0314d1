// tbcalc relax: tbrelax's relaxation for scripts.
#include <gtest/gtest.h>

#include <sstream>

#include "io/wri_crd.hpp"
#include "state/element.hpp"
#include "tbcalc_test_support.hpp"

namespace tbrelax {
namespace {

using testing::json_number;
using testing::json_numbers;
using testing::read_text;
using testing::tbcalc;
using testing::temp_dir;
using testing::write_text;

struct frame {
  common_var c;
  double E = 0;
  int block = 0;
  int step = -1;
};

// The value of key=... on an extended-XYZ comment line.
std::string info_value(const std::string& comment, const std::string& key) {
  const auto at = comment.find(" " + key + "=");
  if (at == std::string::npos) return "";
  const auto start = at + key.size() + 2;
  if (comment[start] == '"') return comment.substr(start + 1, comment.find('"', start + 1) - start - 1);
  return comment.substr(start, comment.find(' ', start) - start);
}

std::vector<frame> read_frames(const std::string& text) {
  std::vector<frame> frames;
  std::istringstream in(text);
  for (int n; in >> n;) {
    std::string comment;
    std::getline(in, comment);
    std::getline(in, comment);
    std::vector<std::int32_t> types;
    std::vector<std::array<double, 3>> r(n);
    for (int a = 0; a < n; ++a) {
      std::string symbol;
      in >> symbol >> r[a][0] >> r[a][1] >> r[a][2];
      types.push_back(*element_from_symbol(symbol[0]));
    }
    frame f;
    load_molecule(f.c, types, r, info_value(comment, "title"));
    f.E = std::stod(info_value(comment, "energy"));
    const std::string block = info_value(comment, "block");
    f.block = block.empty() ? 0 : std::stoi(block);
    if (const std::string step = info_value(comment, "step"); !step.empty()) f.step = std::stoi(step);
    frames.push_back(std::move(f));
  }
  return frames;
}

class TbcalcRelaxExample : public ::testing::TestWithParam<std::string> {};

TEST_P(TbcalcRelaxExample, RunsTbrelaxsBlocksToItsReport) {
  const auto input = std::filesystem::path(TBRELAX_SOURCE_DIR) / "examples" / GetParam() / "input.xyz";
  temp_dir old_way, new_way;
  std::filesystem::copy_file(input, old_way / "input.xyz");
  const auto tbrelax = testing::run_program(testing::built_program("tbrelax"), {}, old_way.path(), "\n");
  ASSERT_EQ(tbrelax.status, 0) << tbrelax.err;
  std::filesystem::copy_file(input, new_way / "m.xyz");
  const auto r = tbcalc({"relax", "--method", "sd", "m.xyz", "--trajectory", "t.xyz"}, new_way.path());
  ASSERT_EQ(r.status, 0) << r.err;

  const auto frames = read_frames(read_text(new_way / "t.xyz"));
  long blocks = 0;  // tbrelax's " ." lines
  std::istringstream screen(tbrelax.out);
  for (std::string line; std::getline(screen, line);) blocks += line == " .";
  ASSERT_EQ(static_cast<long>(frames.size()), blocks);
  ASSERT_GT(blocks, 1);
  for (std::size_t k = 0; k < frames.size(); ++k) EXPECT_EQ(frames[k].block, static_cast<int>(k + 1));
  // One progress line per block, numbered alike.
  EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), blocks);
  EXPECT_NE(r.err.find("m.xyz: block " + std::to_string(blocks) + ": E = "), std::string::npos);
  // The last frame, reported as tbrelax reports, is its output.xyz to the byte.
  const frame& last = frames.back();
  EXPECT_EQ(report_text(last.c, last.E), read_text(old_way / "output.xyz"));
}

INSTANTIATE_TEST_SUITE_P(Bundled, TbcalcRelaxExample, ::testing::Values("water", "formaldehyde"));

TEST(TbcalcRelax, RelaxedFileHoldsItsOwnExactEnergy) {
  temp_dir dir;
  std::filesystem::create_directory(dir / "mol");
  write_text(dir / "mol/h2.in", "2\nhydrogen\nH 0 0 0\nH 0 0 0.8\n");
  const auto r = tbcalc({"relax", "--method=sd", "mol/h2.in"}, dir.path());
  ASSERT_EQ(r.status, 0) << r.err;
  const auto relaxed = read_frames(read_text(dir / "mol/h2.relaxed.xyz"));  // beside the input
  ASSERT_EQ(relaxed.size(), 1u);
  // Evaluated again from the file, the geometry gives the very energy written with it.
  const auto again = tbcalc({"energy", "--json", "mol/h2.relaxed.xyz"}, dir.path());
  EXPECT_EQ(json_number(again.out, "energy"), relaxed[0].E);
  EXPECT_NE(r.out.find(" evaluations), written to mol/h2.relaxed.xyz\n  energy E                -"), std::string::npos);
}

class TbcalcOptimiser : public ::testing::TestWithParam<std::string> {};

TEST_P(TbcalcOptimiser, FramesStepsAndDocumentAgreeAndFixedAtomsStayPut) {
  temp_dir dir;
  const std::string water = "3\nwater\nO 0 0 0.117\nH 0 0.757 -0.467\nH 0 -0.757 -0.467\n";
  write_text(dir / "w.xyz", water);
  const auto r = tbcalc({"relax", "--json", "--method", GetParam(), "--fix", "2", "--trajectory", "t.xyz", "w.xyz"},
                        dir.path());
  ASSERT_EQ(r.status, 0) << r.err;
  const int steps = static_cast<int>(json_number(r.out, "steps"));
  EXPECT_NE(r.out.find("\"method\": \"" + GetParam() + "\""), std::string::npos);
  EXPECT_NE(r.out.find("\"blocks\": null"), std::string::npos);
  EXPECT_NE(r.out.find("\"converged\": true"), std::string::npos);
  EXPECT_GE(json_number(r.out, "evaluations"), steps + 1);
  EXPECT_LT(json_numbers(r.out, "largest_force")[1], 0.01);
  // One progress line per step; frames from the input (step=0) to the relaxed geometry.
  EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), steps);
  EXPECT_NE(r.err.find("w.xyz: step " + std::to_string(steps) + ": E = "), std::string::npos);
  const auto frames = read_frames(read_text(dir / "t.xyz"));
  ASSERT_EQ(static_cast<int>(frames.size()), steps + 1);
  for (int k = 0; k <= steps; ++k) EXPECT_EQ(frames[k].step, k);
  const frame relaxed = read_frames(read_text(dir / "w.relaxed.xyz")).at(0);
  EXPECT_EQ(relaxed.E, frames.back().E);
  EXPECT_EQ(relaxed.E, json_number(r.out, "energy"));
  for (const frame& f : frames) EXPECT_EQ(f.c.y[1], 0.757);  // written with the digits it was read with
  EXPECT_EQ(relaxed.c.z[1], -0.467);
}

INSTANTIATE_TEST_SUITE_P(Methods, TbcalcOptimiser, ::testing::Values("lbfgs", "fire"));

TEST(TbcalcRelax, FaultyOptionsStopBeforeAnyEvaluation) {
  temp_dir dir;
  write_text(dir / "w.xyz", "3\nwater\nO 0 0 0.117\nH 0 0.757 -0.467\nH 0 -0.757 -0.467\n");
  write_text(dir / "near.xyz", "2\nnear\nH 0 0 0\nH 0 0 1e-9\n");
  struct fault {
    std::vector<std::string> args;
    std::string first_line;
    int status;
  };
  for (const fault& f : std::vector<fault>{
           {{"--method", "bfgs"}, "tbcalc: --method: unknown method 'bfgs' (plbfgs, lbfgs, fire or sd)", 64},
           {{"--fmax", "0"}, "tbcalc: --fmax: a number above 0 is needed, not '0'", 64},
           {{"--fmax=-1e-3"}, "tbcalc: --fmax: a number above 0 is needed, not '-1e-3'", 64},
           {{"--max-steps", "2.5"}, "tbcalc: --max-steps: a whole number of at least 0 is needed, not '2.5'", 64},
           {{"--fix", "0"}, "tbcalc: --fix: atoms counted from 1 are needed, such as 1-4,9, not '0'", 64},
           {{"--fix", "3-1"}, "tbcalc: --fix: atoms counted from 1 are needed, such as 1-4,9, not '3-1'", 64},
           {{"--pull", "1,2,nan"}, "tbcalc: --pull: the pulling force must be a finite number, not 'nan'", 64},
           {{"--pull", "1,2"}, "tbcalc: --pull: A,B,F is needed (two atoms counted from 1 and a force in eV/Å), not '1,2'", 64},
           {{"--pull", "2,2,1"}, "tbcalc: --pull: a pulling pair needs two different atoms, not 2 twice", 64},
           {{"--method", "sd", "--fix", "1"}, "tbcalc: --fix needs --method plbfgs, lbfgs or fire", 64},
           {{"--verify-threshold", "-50"}, "tbcalc: --verify-threshold: a number above 0 is needed, not '-50'", 64},
           {{"--verify-threshold=inf"}, "tbcalc: --verify-threshold: a number above 0 is needed, not 'inf'", 64},
           {{"--escape-step", "nan"}, "tbcalc: --escape-step: a number above 0 is needed, not 'nan'", 64},
           {{"--escape-step", "0"}, "tbcalc: --escape-step: a number above 0 is needed, not '0'", 64},
           {{"--method", "sd", "--escape-step", "0.1"}, "tbcalc: --escape-step needs --method plbfgs, lbfgs or fire", 64},
           {{"--fix", "1,4"}, "tbcalc: w.xyz: error: fixed atom 4 does not exist (the molecule has 3 atoms)", 64},
           {{"--pull", "1,9,0.5"}, "tbcalc: w.xyz: error: pulled atom 9 does not exist (the molecule has 3 atoms)", 64},
           {{"--fix", "1-3"}, "tbcalc: w.xyz: error: every atom is fixed: nothing can move", 64},
       }) {
    std::vector<std::string> args = {"relax"};
    args.insert(args.end(), f.args.begin(), f.args.end());
    args.push_back("w.xyz");
    const auto r = tbcalc(args, dir.path());
    EXPECT_EQ(r.status, f.status) << f.first_line;
    EXPECT_EQ(r.err.substr(0, r.err.find('\n')), f.first_line);
    EXPECT_EQ(r.out, "");
    EXPECT_FALSE(std::filesystem::exists(dir / "w.relaxed.xyz")) << f.first_line;
  }
  // A non-finite evaluation ends the file with status 3 and writes nothing.
  const auto near = tbcalc({"relax", "near.xyz"}, dir.path());
  EXPECT_EQ(near.status, 3);
  EXPECT_EQ(near.err, "tbcalc: near.xyz: error: the energy or a force is not a finite number\n");
  EXPECT_FALSE(std::filesystem::exists(dir / "near.relaxed.xyz"));
}

// Ozone from a symmetric start: the optimiser alone stops at the symmetric saddle point; the
// check leaves it, and the report says so in text and JSON.
TEST(TbcalcRelax, MinimumCheckReportsInTextAndJson) {
  temp_dir dir;
  write_text(dir / "o3.xyz", "3\nozone\nO 0 0 0\nO 1.08 0.66 0\nO -1.08 0.66 0\n");
  const auto checked = tbcalc({"relax", "--json", "o3.xyz"}, dir.path());
  const auto plain = tbcalc({"relax", "--json", "--no-verify", "o3.xyz"}, dir.path());
  ASSERT_EQ(checked.status, 0);
  ASSERT_EQ(plain.status, 0);
  EXPECT_NE(checked.out.find("\"minimum_verified\": true,"), std::string::npos);
  EXPECT_GE(json_number(checked.out, "escapes"), 1);
  EXPECT_GT(json_number(checked.out, "lowest_wavenumber"), -50);
  EXPECT_LT(json_number(checked.out, "energy"), -16.9);
  EXPECT_GT(json_number(checked.out, "evaluations"), json_number(checked.out, "check_evaluations"));
  EXPECT_NE(plain.out.find("\"minimum_verified\": null,\n      \"lowest_curvature\": null,\n      "
                           "\"lowest_wavenumber\": null,\n      \"escapes\": 0,\n      \"check_evaluations\": 0,"),
            std::string::npos);
  EXPECT_NEAR(json_number(plain.out, "energy"), -7.632, 1e-3);
  const auto text = tbcalc({"relax", "o3.xyz"}, dir.path());
  EXPECT_NE(text.out.find("\n  minimum check            verified, 1 escape from a saddle point, "), std::string::npos);
  EXPECT_NE(text.out.find("\n  lowest curvature         "), std::string::npos);
  const auto sd = tbcalc({"relax", "--method", "sd", "o3.xyz"}, dir.path());
  EXPECT_EQ(sd.out.find("minimum check"), std::string::npos);
}

}  // namespace
}  // namespace tbrelax
