// tbcalc on periodic structures: the JSON of an energy, a relaxation written with its cell and
// read back, and every bad input with its message and status, nothing written.
#include <gtest/gtest.h>

#include "e2e/tbcalc_test_support.hpp"

namespace tbrelax {
namespace {

namespace fs = std::filesystem;
using testing::json_number;
using testing::json_numbers;

const fs::path examples = fs::path(TBRELAX_SOURCE_DIR) / "examples";

std::string structure(const std::string& comment, const std::string& atoms) {
  const int count = int(std::count(atoms.begin(), atoms.end(), '\n'));
  return std::to_string(count) + "\n" + comment + "\n" + atoms;
}

TEST(TbcalcPeriodic, EnergyReportsFreeEnergyGridAndNoDipole) {
  testing::temp_dir dir;
  const auto r = testing::tbcalc({"energy", "--json", "--kpoints", "6,6,1", (examples / "graphene/graphene.xyz").string()},
                                 dir.path());
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(json_numbers(r.out, "grid"), (std::vector<double>{6, 6, 1}));
  EXPECT_EQ(json_number(r.out, "count"), 20);  // 36 points, k and -k merged
  EXPECT_EQ(json_number(r.out, "electronic_temperature"), 300);
  const double E = json_number(r.out, "energy"), F = json_number(r.out, "free_energy");
  EXPECT_LT(F, E);
  EXPECT_NEAR(json_number(r.out, "energy_zero"), 0.5 * (E + F), 1e-12);
  EXPECT_NE(r.out.find("\"dipole\": null"), std::string::npos);
  // A 3 x 3 supercell's K-point level at zero temperature is degenerate and partly filled.
  testing::write_text(dir / "x.xyz", structure("Lattice=\"2.46 0 0 -1.23 2.1304224933097191 0 0 0 20\" pbc=\"T T F\"",
                                               "C 0 1.4202816622064794 0\nC 1.23 0.7101408311032397 0\n"));
  const auto warned = testing::tbcalc({"energy", "--kpoints", "3,3,1", "--electronic-temperature", "0", "x.xyz"}, dir.path());
  ASSERT_EQ(warned.status, 0) << warned.err;
  EXPECT_NE(warned.out.find("Warning: a degenerate level at the Fermi edge"), std::string::npos) << warned.out;
}

TEST(TbcalcPeriodic, RelaxedChainIsWrittenWithItsCellAndReadsBack) {
  testing::temp_dir dir;
  fs::copy_file(examples / "polyethylene/polyethylene.xyz", dir / "pe.xyz");
  const auto r = testing::tbcalc({"relax", "--json", "--fix", "1", "--trajectory", "t.xyz", "pe.xyz"}, dir.path());
  ASSERT_EQ(r.status, 0) << r.err;
  const std::string relaxed = testing::read_text(dir / "pe.relaxed.xyz");
  EXPECT_NE(relaxed.find("Lattice=\"2.55 0 0 0 15 0 0 0 15\""), std::string::npos) << relaxed;
  EXPECT_NE(relaxed.find("pbc=\"T F F\""), std::string::npos);
  EXPECT_NE(testing::read_text(dir / "t.xyz").find("pbc=\"T F F\""), std::string::npos);
  const auto again = testing::tbcalc({"energy", "--json", "pe.relaxed.xyz"}, dir.path());
  ASSERT_EQ(again.status, 0) << again.err;
  EXPECT_NEAR(json_number(again.out, "free_energy"), json_number(r.out, "free_energy"), 1e-9);
  EXPECT_NE(again.out.find("\"title\": \"polyethylene\""), std::string::npos);
  EXPECT_LT(json_number(again.out, "magnitude"), 0.01 + 1e-9);
}

struct bad_input {
  const char* name;
  std::string file;  // written as in.xyz
  std::vector<std::string> options;
  int status;
  std::string message;
};

void PrintTo(const bad_input& b, std::ostream* os) { *os << b.name; }

class TbcalcPeriodicBadInput : public ::testing::TestWithParam<bad_input> {};

TEST_P(TbcalcPeriodicBadInput, IsRefusedWithItsMessage) {
  const bad_input& b = GetParam();
  testing::temp_dir dir;
  testing::write_text(dir / "in.xyz", b.file);
  for (const char* command : {"energy", "relax"}) {
    std::vector<std::string> args{command};
    args.insert(args.end(), b.options.begin(), b.options.end());
    args.push_back("in.xyz");
    const auto r = testing::tbcalc(args, dir.path());
    EXPECT_EQ(r.status, b.status) << command << ": " << r.err;
    EXPECT_NE(r.err.find(b.message), std::string::npos) << command << ": " << r.err;
    EXPECT_FALSE(fs::exists(dir / "in.relaxed.xyz")) << command;
  }
}

const std::string chain = "C 0 0 0\nC 1.3 0 0\n";
INSTANTIATE_TEST_SUITE_P(
    Table, TbcalcPeriodicBadInput,
    ::testing::Values(
        bad_input{"LatticeNotNineNumbers", structure("Lattice=\"2.6 0 0 0 9 0 0 0\" pbc=\"T F F\"", chain), {}, 2,
                  "Lattice"},
        bad_input{"PbcFlagNotTF", structure("Lattice=\"2.6 0 0 0 9 0 0 0 9\" pbc=\"T X F\"", chain), {}, 2, "pbc"},
        bad_input{"ZeroPeriodicVector", structure("Lattice=\"0 0 0 0 9 0 0 0 9\" pbc=\"T F F\"", chain), {}, 1,
                  "zero"},
        bad_input{"AtomOnAnImage", structure("Lattice=\"1.3 0 0 0 9 0 0 0 9\" pbc=\"T F F\"", chain), {}, 1,
                  "coincides with an image"},
        bad_input{"CellTooSmall", structure("Lattice=\"0.02 0 0 0 0.02 0 0 0 0.02\" pbc=\"T T T\"", "H 0 0 0\n"), {}, 1,
                  "too small"},
        bad_input{"GridOnNonPeriodicAxis", structure("Lattice=\"2.6 0 0 0 9 0 0 0 9\" pbc=\"T F F\"", chain),
                  {"--kpoints", "4,2,1"}, 64, "the second axis is not periodic"},
        bad_input{"GridOnMolecule", structure("two carbons", chain), {"--kpoints", "2,1,1"}, 64,
                  "the first axis is not periodic"},
        bad_input{"BadGridText", structure("x", chain), {"--kpoints", "4,4"}, 64, "three whole numbers"},
        bad_input{"NegativeTemperature", structure("x", chain), {"--electronic-temperature", "-1"}, 64,
                  "at least 0 K"},
        bad_input{"NonFiniteTemperature", structure("x", chain), {"--electronic-temperature", "inf"}, 64,
                  "at least 0 K"}),
    [](const auto& info) { return std::string(info.param.name); });

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
// Under a 1 GB address-space limit a grid whose storage cannot fit is refused before its
// k-points are listed (sanitizer builds cannot run under such a limit).
TEST(TbcalcPeriodic, GridTooLargeForMemoryIsRefusedFirst) {
  testing::temp_dir dir;
  testing::write_text(dir / "in.xyz", structure("Lattice=\"2.6 0 0 0 2.6 0 0 0 2.6\" pbc=\"T T T\"", chain));
  const auto r = testing::run_program("/bin/sh",
                                      {"-c", "ulimit -v 1000000 && exec \"$0\" \"$@\"",
                                       testing::built_program("tbcalc").string(), "energy", "--kpoints", "100,100,100",
                                       "in.xyz"},
                                      dir.path(), "");
  // A GPU build's libraries alone may not map into so small an address space.
  if (r.status == 127 && r.err.find("error while loading shared libraries") != std::string::npos)
    GTEST_SKIP() << "tbcalc's libraries do not load under the limit: " << r.err;
  EXPECT_EQ(r.status, 4) << r.err;
  EXPECT_NE(r.err.find("for a 100 x 100 x 100 k-point grid of 8 basis functions"), std::string::npos) << r.err;
}
#endif

}  // namespace
}  // namespace tbrelax
