// tbcalc on several files: every command reports each file as it reports it alone, in the
// order given, and a failed file does not stop the others.
#include <gtest/gtest.h>

#include "tbcalc_test_support.hpp"

namespace tbrelax {
namespace {

using testing::tbcalc;
using testing::temp_dir;
using testing::write_text;

struct batch_case {
  std::string command;
  std::string between;  // text between two files' reports
};

void PrintTo(const batch_case& b, std::ostream* os) { *os << b.command; }

class TbcalcBatch : public ::testing::TestWithParam<batch_case> {};

TEST_P(TbcalcBatch, FailedFilesDoNotStopTheOthersAndTheWorstStatusWins) {
  const batch_case& b = GetParam();
  temp_dir dir;
  write_text(dir / "a.xyz", "2\na\nH 0 0 0\nH 0 0 0.75\n");
  write_text(dir / "bad.xyz", "3\nb\nH 0 0 0\n");
  write_text(dir / "c.xyz", "1\nc\nO 0 0 0\n");
  const std::vector<std::string> files{"a.xyz", "missing.xyz", "bad.xyz", "c.xyz"};
  auto run = [&](std::vector<std::string> args) {
    args.insert(args.begin(), b.command);
    return tbcalc(args, dir.path());
  };

  const auto text = run(files);
  EXPECT_EQ(text.status, 2);
  EXPECT_NE(text.err.find("tbcalc: missing.xyz: error: cannot open"), std::string::npos);
  EXPECT_NE(text.err.find("tbcalc: bad.xyz:1:1: error: the file declares 3 atoms"), std::string::npos);
  EXPECT_EQ(text.out, run({"a.xyz"}).out + b.between + run({"c.xyz"}).out);

  std::vector<std::string> json_args = files;
  json_args.insert(json_args.begin(), "--json");
  const auto json = run(json_args);
  EXPECT_EQ(json.status, 2);
  write_text(dir / "batch.json", json.out);
  write_text(dir / "a.json", run({"--json", "a.xyz"}).out);
  write_text(dir / "c.json", run({"--json", "c.xyz"}).out);
  // A good file's object is its own document (relax: its one entry) with status 0.
  const auto py = testing::python(
      "import json\n"
      "d = json.load(open('batch.json'))\n"
      "def alone(name):\n"
      "    s = json.load(open(name))\n"
      "    return s['files'][0] if 'files' in s else {'status': 0, **s}\n"
      "assert d['files'][0] == alone('a.json') and d['files'][3] == alone('c.json')\n"
      "assert list(d['files'][0])[0] == 'status'\n"
      "print(d['status'], [(f['file'], f['status'], 'error' in f) for f in d['files'][1:3]])\n",
      dir.path());
  if (py.status == -1) GTEST_SKIP() << "no Python to parse the document with";
  EXPECT_EQ(py.status, 0) << py.err;
  EXPECT_EQ(py.out, "2 [('missing.xyz', 2, True), ('bad.xyz', 1, True)]\n");
}

INSTANTIATE_TEST_SUITE_P(Commands, TbcalcBatch,
                         ::testing::Values(batch_case{"energy", "\n"}, batch_case{"freq", "\n"}, batch_case{"relax", ""}),
                         [](const auto& info) { return info.param.command; });

}  // namespace
}  // namespace tbrelax
