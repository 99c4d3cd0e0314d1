// tbrelax as a user runs it: in a fresh directory, with its standard input fed.
#include <gtest/gtest.h>

#include "support/run_program.hpp"
#include "support/test_support.hpp"

namespace tbrelax {
namespace {

using testing::read_text;
using testing::temp_dir;
using testing::write_text;

const std::string water_input = "3\nwater\nO 0.0 0.0 0.117\nH 0.0 0.757 -0.467\nH 0.0 -0.757 -0.467\n";
const std::string water_report = " Coordinates have read successfully\n water" + std::string(45, ' ') +
                                 "\n  Number of atoms is:            3\n"
                                 " H:            2        C:            0\n"
                                 " N:            0        O:            1\n";
const std::string closing = " Optimization complete. Results are listed in output.xyz file\n"
                            " The relaxation is finished. Press any key to continue\n";

struct run {
  temp_dir dir;
  testing::run_result result;
  run(const std::string& input, const std::string& keys = "\n\n\n\n") {
    write_text(dir / "input.xyz", input);
    result = testing::run_program(testing::built_program("tbrelax"), {}, dir.path(), keys);
  }
  std::string output() const { return read_text(dir / "output.xyz"); }
  bool has_output() const { return std::filesystem::exists(dir / "output.xyz"); }
};

std::string dots(int blocks) {
  std::string s;
  for (int k = 0; k < blocks; ++k) s += " .\n";
  return s;
}

// Each run: its status, the end of its screen (all of it where whole), standard error, and the
// end of output.xyz (none left where report is empty).
TEST(Tbrelax, RunsEndWithTheirScreenErrorsAndReport) {
  const std::string optimising = " geometry optimization...\n";
  struct outcome {
    std::string input, keys;
    int status;
    std::string screen;
    bool whole;
    std::string err, report;
  };
  for (const outcome& o : std::vector<outcome>{
           {water_input, "\n\n\n\n", 0, water_report + optimising + dots(6) + closing, true, "",
            " \n Optimized molecular geometry is listed above\nCalculated binding energy is 2.859 eV per atom\n"},
           // A minimum stops after one block with the input reported.
           {"2\nH2\nH 0.0 0.0 0.0\nH 0.7447 0.0 0.0\n", "\n", 0, optimising + " .\n" + closing, false, "",
            "           2\n H2" + std::string(48, ' ') + "\n" +
                " H          0.00000000          0.00000000          0.00000000\n"
                " H          0.74470000          0.00000000          0.00000000\n"
                " \n Optimized molecular geometry is listed above\n"
                "Calculated binding energy is 2.365 eV per atom\n"},
           {"1\natom\nC 1.0 2.0 3.0\n", "\n", 0, optimising + " .\n" + closing, false, "",
            "Calculated binding energy is-0.057 eV per atom\n"},
           // Rejected inputs stop with status 1 before optimising and leave no report (the
           // reader's count errors are checked on its own screen).
           {"0\nnothing\n", "\n", 1, " ERROR: No atoms in file input.xyz\n", false, "", ""},
           {"2\nsame\nH 1.0 1.0 1.0\nO 1.0 1.0 1.0\n", "\n", 1,
            " ERROR: Atoms           1 and           2 in file input.xyz are at the same position\n", false, "", ""},
           // A malformed file is a fatal error on standard error.
           {"1\nw\nH   0.0   abc   1.0\n", "\n", 2, "", true,
            "tbrelax: input.xyz:3:11: error: 'abc' is not a real number\n"
            "    3 | H   0.0   abc   1.0\n"
            "      |           ^~~\n",
            ""},
           // The end of standard input at the final pause leaves a complete report; at a warning's
           // pause it stops at once.
           {water_input, "", 2, closing, false, "tbrelax: standard input: error: end of input while waiting for Enter\n",
            "eV per atom\n"},
           {"1\nw\nX 0 0 0\nH 0 0 0\n", "", 2,
            " WARNING: Inadmissible chemical element: X in input.xyz\n"
            "  You Can use only follow elements: H, C, N, O\n",
            true, "tbrelax: standard input: error: end of input while waiting for Enter\n", ""},
       }) {
    SCOPED_TRACE(o.input);
    run r(o.input, o.keys);
    EXPECT_EQ(r.result.status, o.status);
    if (o.whole) {
      EXPECT_EQ(r.result.out, o.screen);
    } else {
      EXPECT_TRUE(r.result.out.ends_with(o.screen)) << r.result.out;
    }
    EXPECT_EQ(r.result.err, o.err);
    EXPECT_EQ(r.has_output(), !o.report.empty());
    if (!o.report.empty()) {
      EXPECT_TRUE(r.output().ends_with(o.report)) << r.output();
    }
  }
}

TEST(Tbrelax, MissingInputIsCreatedEmptyAndFailsOnLineOne) {
  temp_dir dir;
  auto result = testing::run_program(testing::built_program("tbrelax"), {}, dir.path(), "\n");
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err, "tbrelax: input.xyz:1:1: error: the file ends before the number of atoms\n");
  EXPECT_TRUE(std::filesystem::exists(dir / "input.xyz"));
}

TEST(Tbrelax, UnwritableReportIsAFatalError) {
  temp_dir dir;
  write_text(dir / "input.xyz", water_input);
  std::filesystem::create_directory(dir / "output.xyz");
  auto result = testing::run_program(testing::built_program("tbrelax"), {}, dir.path(), "\n");
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err, "tbrelax: output.xyz: error: cannot write: Is a directory\n");
  EXPECT_TRUE(result.out.ends_with(" geometry optimization...\n"));
}

}  // namespace
}  // namespace tbrelax
