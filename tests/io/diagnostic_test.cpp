#include "io/diagnostic.hpp"

#include <gtest/gtest.h>

namespace tbrelax {
namespace {

// The plain caret under a field is checked on the programs' standard error.
TEST(Diagnostic, TabsStayInThePaddingSoTheCaretLinesUp) {
  const io_error e("'x' is not a real number",
                   {.file = "a.xyz", .line = 3, .column = 4, .length = 1, .line_text = "H\t1\tx"});
  EXPECT_EQ(format_diagnostic("tbcalc", e), "tbcalc: a.xyz:3:4: error: 'x' is not a real number\n"
                                            "    3 | H\t1\tx\n"
                                            "      |  \t ^\n");
}

TEST(Diagnostic, WholeFileAndPlaceFreeFaults) {
  EXPECT_EQ(format_diagnostic("tbrelax", io_error("cannot write: Permission denied", in_file("output.xyz"))),
            "tbrelax: output.xyz: error: cannot write: Permission denied\n");
  EXPECT_EQ(format_diagnostic("tbrelax", io_error("the file ends before the title line",
                                                  {.file = "input.xyz", .line = 2, .column = 1, .length = 0, .line_text = {}})),
            "tbrelax: input.xyz:2:1: error: the file ends before the title line\n");
  EXPECT_EQ(format_diagnostic("tbrelax", numerical_error("no number")), "tbrelax: error: no number\n");
}

}  // namespace
}  // namespace tbrelax
