// tbcalc relax: tbrelax's relaxation for scripts.
#include <gtest/gtest.h>

#include <sstream>

#include "io/wri_crd.hpp"
#include "state/element.hpp"
#include "tbcalc_test_support.hpp"

namespace tbrelax {
namespace {

using testing::json_number;
using testing::read_text;
using testing::tbcalc;
using testing::temp_dir;
using testing::write_text;

struct frame {
  common_var c;
  double E = 0;
  int block = 0;
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
  const auto r = tbcalc({"relax", "m.xyz", "--trajectory", "t.xyz"}, new_way.path());
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
  const auto r = tbcalc({"relax", "mol/h2.in"}, dir.path());
  ASSERT_EQ(r.status, 0) << r.err;
  const auto relaxed = read_frames(read_text(dir / "mol/h2.relaxed.xyz"));  // beside the input
  ASSERT_EQ(relaxed.size(), 1u);
  // Evaluated again from the file, the geometry gives the very energy written with it.
  const auto again = tbcalc({"energy", "--json", "mol/h2.relaxed.xyz"}, dir.path());
  EXPECT_EQ(json_number(again.out, "energy"), relaxed[0].E);
  EXPECT_NE(r.out.find(" evaluations), written to mol/h2.relaxed.xyz\n  energy E                -"), std::string::npos);
  // Both spellings of the options.
  const auto named = tbcalc({"relax", "mol/h2.in", "--trajectory=t.xyz", "--output", "o.xyz"}, dir.path());
  EXPECT_EQ(named.status, 0);
  EXPECT_EQ(read_frames(read_text(dir / "o.xyz"))[0].E, relaxed[0].E);
  EXPECT_EQ(read_frames(read_text(dir / "t.xyz")).back().block, static_cast<int>(std::count(r.err.begin(), r.err.end(), '\n')));
}

}  // namespace
}  // namespace tbrelax
