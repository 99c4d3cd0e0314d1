#include "io/whole_lines.hpp"

#include <gtest/gtest.h>

#include <sstream>

namespace tbrelax {
namespace {

TEST(WholeLines, OnlyFinishedLinesLeaveAndTheLastOneAtTheEnd) {
  std::ostringstream target;
  {
    whole_lines lines(target);
    std::ostream out(&lines);
    out << "a.xyz" << std::flush;
    EXPECT_EQ(target.str(), "");
    out << ": block 1\nb.xyz" << ": block" << ' ' << 2 << '\n';
    EXPECT_EQ(target.str(), "a.xyz: block 1\nb.xyz: block 2\n");
    out << "unfinished";
    EXPECT_EQ(target.str(), "a.xyz: block 1\nb.xyz: block 2\n");
  }
  EXPECT_EQ(target.str(), "a.xyz: block 1\nb.xyz: block 2\nunfinished");
}

}  // namespace
}  // namespace tbrelax
