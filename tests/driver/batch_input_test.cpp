#include "driver/batch_input.hpp"

#include <gtest/gtest.h>

#include "support/test_support.hpp"

namespace tbrelax {
namespace {

TEST(BatchOrder, LargestDeclaredMoleculeFirstUnreadableLast) {
  testing::temp_dir dir;
  struct file {
    std::string name, text;
  };
  const std::vector<file> files = {{"small", "3\nw\n"},   {"none", ""},        {"big", "\n  24, x\n"},
                                   {"same", "3\nv\n"},    {"text", "three\n"}, {"mid", "12\n"}};
  std::vector<std::string> paths;
  for (const auto& f : files) {
    testing::write_text(dir / f.name, f.text);
    paths.push_back((dir / f.name).string());
  }
  paths.push_back((dir / "missing").string());
  // big 24, mid 12, then the two of 3 atoms in their order, then what has no count.
  EXPECT_EQ(largest_first(paths), (std::vector<std::size_t>{2, 5, 0, 3, 1, 4, 6}));
}

}  // namespace
}  // namespace tbrelax
