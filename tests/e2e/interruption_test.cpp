// SIGINT and SIGTERM sent to running programs: they stop between two evaluations with one line
// on standard error and status 128 + the signal, leaving only complete files behind.
#include <gtest/gtest.h>

#include <signal.h>

#include <chrono>
#include <functional>
#include <sstream>
#include <thread>

#include "support/run_program.hpp"
#include "support/test_support.hpp"

namespace tbrelax {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

// A zigzag chain of CH2 units with stretched bonds: far from its minimum, so that relaxing it
// takes thousands of evaluations, and its Hessian hundreds.
std::string stretched_chain(int units) {
  std::ostringstream text;
  text << 3 * units << "\nchain\n";
  for (int k = 0; k < units; ++k) {
    const double x = 1.7 * k, y = 0.9 * (k % 2);
    text << "C " << x << ' ' << y << " 0\nH " << x << ' ' << y + (k % 2 ? 1.3 : -1.3) << " 0\nH " << x << ' ' << y
         << " 1.3\n";
  }
  return text.str();
}

// Whole frames only: every frame is the atom count, a comment line and that many atom lines.
bool whole_frames(const std::string& text, int atoms) {
  std::istringstream in(text);
  int frames = 0, lines = 0;
  for (std::string line; std::getline(in, line); ++lines)
    if (lines % (atoms + 2) == 0) {
      if (line != std::to_string(atoms)) return false;
      ++frames;
    }
  return frames > 0 && lines % (atoms + 2) == 0 && text.ends_with('\n');
}

struct interruption_case {
  std::string name;
  std::string program;
  std::vector<std::string> args;
  std::string input;
  // The moment to send the signal: polled on the directory, the program's output so far and the
  // time since it started.
  std::function<bool(const fs::path& dir, const std::string& out, std::chrono::nanoseconds running)> ready;
  int signal;
  std::string err;  // the last line of standard error
  std::function<void(const fs::path& dir, const testing::run_result& r)> check;
};

void PrintTo(const interruption_case& c, std::ostream* os) { *os << c.name; }

class Interruption : public ::testing::TestWithParam<interruption_case> {};

TEST_P(Interruption, StopsWithCompleteFiles) {
  const interruption_case& c = GetParam();
  testing::temp_dir dir;
  testing::write_text(dir / "input.xyz", c.input);
  testing::running_program program(testing::built_program(c.program), c.args, dir.path());
  const auto start = std::chrono::steady_clock::now();
  while (!program.catches(c.signal) ||
         !c.ready(dir.path(), program.out_so_far(), std::chrono::steady_clock::now() - start)) {
    ASSERT_LT(std::chrono::steady_clock::now() - start, 60s) << "the moment to interrupt never came";
    std::this_thread::sleep_for(5ms);
  }
  program.send(c.signal);
  const testing::run_result r = program.wait();
  EXPECT_EQ(r.status, 128 + c.signal) << r.err;
  EXPECT_TRUE(r.err.ends_with(c.err)) << r.err;
  c.check(dir.path(), r);
}

const std::string chain = stretched_chain(12);

INSTANTIATE_TEST_SUITE_P(
    Programs, Interruption,
    ::testing::Values(
        interruption_case{
            "TbrelaxKeepsItsLastFullReport", "tbrelax", {}, chain,
            [](const fs::path& dir, const std::string&, auto) { return fs::exists(dir / "output.xyz"); }, SIGINT,
            "tbrelax: interrupted by SIGINT\n",
            [](const fs::path& dir, const testing::run_result& r) {
              EXPECT_EQ(r.err, "tbrelax: interrupted by SIGINT\n");
              EXPECT_EQ(r.out.find("Optimization complete"), std::string::npos);
              const std::string report = testing::read_text(dir / "output.xyz");
              EXPECT_TRUE(report.starts_with("          36\n chain")) << report;
              EXPECT_TRUE(report.ends_with(" eV per atom\n")) << report;
              EXPECT_EQ(std::count(report.begin(), report.end(), '\n'), 36 + 5);
            }},
        interruption_case{
            "TbrelaxAtAWarningPause", "tbrelax", {}, "1\nw\nX 0 0 0\nH 0 0 0\n",
            [](const fs::path&, const std::string& out, auto) { return out.find("You Can use") != std::string::npos; },
            SIGTERM, "tbrelax: interrupted by SIGTERM\n",
            [](const fs::path& dir, const testing::run_result& r) {
              EXPECT_EQ(r.err, "tbrelax: interrupted by SIGTERM\n");
              EXPECT_FALSE(fs::exists(dir / "output.xyz"));
            }},
        interruption_case{
            "TbcalcRelaxKeepsWholeTrajectoryFrames", "tbcalc",
            {"relax", "--trajectory", "frames.xyz", "-o", "relaxed.xyz", "input.xyz"}, chain,
            [](const fs::path& dir, const std::string&, auto) {
              return fs::exists(dir / "frames.xyz") && fs::file_size(dir / "frames.xyz") > 0;
            },
            SIGTERM, "tbcalc: interrupted by SIGTERM\n",
            [](const fs::path& dir, const testing::run_result& r) {
              EXPECT_EQ(r.out, "");
              EXPECT_TRUE(whole_frames(testing::read_text(dir / "frames.xyz"), 36));
              EXPECT_FALSE(fs::exists(dir / "relaxed.xyz"));
            }},
        interruption_case{
            "TbcalcFreqWritesNothing", "tbcalc", {"freq", "--json", "--molden", "modes.molden", "input.xyz"},
            stretched_chain(20),
            // A fifth of a second into its run, a Hessian of 360 evaluations.
            [](const fs::path&, const std::string&, auto running) { return running > 200ms; },
            SIGINT, "tbcalc: interrupted by SIGINT\n",
            [](const fs::path& dir, const testing::run_result& r) {
              EXPECT_EQ(r.out, "");
              EXPECT_EQ(r.err, "tbcalc: interrupted by SIGINT\n");
              EXPECT_FALSE(fs::exists(dir / "modes.molden"));
            }}),
    [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace tbrelax
