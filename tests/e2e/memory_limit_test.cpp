// A molecule too large for the memory the process may use is refused before anything large is
// allocated: a message naming the need, status 4, no output file touched. The programs run under
// an address-space limit (ulimit -v), which the sanitizers' shadow memory cannot live with.
#include <gtest/gtest.h>

#include <regex>
#include <sstream>

#include "support/run_program.hpp"
#include "support/test_support.hpp"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TBRELAX_SHADOW_MEMORY 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define TBRELAX_SHADOW_MEMORY 1
#endif
#endif

namespace tbrelax {
namespace {

namespace fs = std::filesystem;

// 3000 carbon atoms on a grid 1.5 angstrom apart: 12000 basis functions, about 10 GiB of
// working storage, read in a moment.
std::string carbon_grid() {
  std::ostringstream text;
  text << "3000\ngrid\n";
  for (int k = 0; k < 3000; ++k) text << "C " << 1.5 * (k % 15) << ' ' << 1.5 * (k / 15 % 15) << ' ' << 1.5 * (k / 225) << '\n';
  return text.str();
}

struct memory_case {
  std::string name;
  std::vector<std::string> command;  // tbcalc's arguments; empty for tbrelax
  std::string need;                  // what the message says is needed
  std::vector<std::string> untouched;
};

void PrintTo(const memory_case& c, std::ostream* os) { *os << c.name; }

class MemoryLimit : public ::testing::TestWithParam<memory_case> {};

TEST_P(MemoryLimit, RefusesBeforeAllocating) {
#ifdef TBRELAX_SHADOW_MEMORY
  GTEST_SKIP() << "a sanitizer's shadow memory does not fit under an address-space limit";
#endif
#ifdef TBRELAX_HAVE_CUDA
  GTEST_SKIP() << "the CUDA libraries alone map nearly the whole address-space limit";
#endif
  const memory_case& c = GetParam();
  testing::temp_dir dir;
  testing::write_text(dir / "input.xyz", carbon_grid());
  const bool tbrelax = c.command.empty();
  std::vector<std::string> args{"-c", "ulimit -v 1000000 && exec \"$0\" \"$@\"",
                                testing::built_program(tbrelax ? "tbrelax" : "tbcalc").string()};
  args.insert(args.end(), c.command.begin(), c.command.end());
  const testing::run_result r = testing::run_program("/bin/sh", args, dir.path(), "\n");

  EXPECT_EQ(r.status, 4) << r.out << r.err;
  const std::string available = "; [0-9]+ MiB available \\(address-space limit\\)\n";
  if (tbrelax) {
    EXPECT_TRUE(std::regex_search(r.out, std::regex(" ERROR: Not enough memory: " + c.need + available + "$")))
        << r.out;
    EXPECT_EQ(r.out.find("geometry optimization"), std::string::npos);
    EXPECT_EQ(r.err, "");
  } else {
    EXPECT_TRUE(std::regex_match(r.err, std::regex("tbcalc: input.xyz: error: " + c.need + available))) << r.err;
    EXPECT_EQ(r.out, "");
  }
  for (const std::string& file : c.untouched) EXPECT_FALSE(fs::exists(dir / file)) << file;
}

INSTANTIATE_TEST_SUITE_P(
    Programs, MemoryLimit,
    ::testing::Values(
        memory_case{"Tbrelax", {}, "needs 10.2 GiB for 12000 basis functions", {"output.xyz"}},
        memory_case{"TbcalcFreqCountsTheHessian",
                    {"freq", "--molden", "modes.molden", "input.xyz"},
                    "needs 15.0 GiB for 12000 basis functions and the Hessian of 3000 atoms",
                    {"modes.molden"}},
        memory_case{"TbcalcRelax",
                    {"relax", "--trajectory", "frames.xyz", "input.xyz"},
                    "needs 10.2 GiB for 12000 basis functions",
                    {"frames.xyz", "input.relaxed.xyz"}}),
    [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace tbrelax
