// The bundled examples relax to their checked-in reports.
#include <gtest/gtest.h>

#include <sstream>

#include "support/run_program.hpp"
#include "support/test_support.hpp"

namespace tbrelax {
namespace {

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

class Example : public ::testing::TestWithParam<std::string> {};

TEST_P(Example, RelaxesToItsReference) {
  const std::filesystem::path dir = std::filesystem::path(TBRELAX_SOURCE_DIR) / "examples" / GetParam();
  testing::temp_dir work;
  std::filesystem::copy_file(dir / "input.xyz", work / "input.xyz");
  const auto result = testing::run_program(testing::built_program("tbrelax"), {}, work.path(), "\n");
  ASSERT_EQ(result.status, 0) << result.err;
  const auto got = lines_of(testing::read_text(work / "output.xyz"));
  const auto want = lines_of(testing::read_text(dir / "expected_output.xyz"));
  ASSERT_EQ(got.size(), want.size());
  const std::size_t atoms = got.size() - 5;
  for (std::size_t k = 0; k < got.size(); ++k) {
    if (k < 2 || k >= atoms + 2) {
      EXPECT_EQ(got[k], want[k]);  // count, title, trailer and the energy line exactly
      continue;
    }
    std::istringstream g(got[k]), w(want[k]);
    std::string eg, ew;
    g >> eg;
    w >> ew;
    EXPECT_EQ(eg, ew);
    for (int axis = 0; axis < 3; ++axis) {
      double a = 0, b = 0;
      g >> a;
      w >> b;
      EXPECT_NEAR(a, b, 1e-6) << GetParam() << " line " << k + 1;  // angstrom
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Bundled, Example,
                         ::testing::Values("water", "methane", "ammonia", "formaldehyde", "benzene"));

}  // namespace
}  // namespace tbrelax
