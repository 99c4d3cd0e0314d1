#include "io/xyz_trajectory.hpp"

#include <gtest/gtest.h>

#include "support/molecules.hpp"
#include "support/run_program.hpp"
#include "support/test_support.hpp"

namespace tbrelax {
namespace {

using testing::molecule;
using testing::read_text;
using testing::temp_dir;

TEST(XyzTrajectory, FrameLayoutWithShortestExactCoordinates) {
  common_var c = molecule({{'O', {0.0, 0.0, 0.117}}, {'H', {-1.0535970066360958e-06, 0.8105705595648944, 12}}});
  c.sssss = "my \"w\"" + std::string(44, ' ');
  const std::string title = quoted_title(c);
  EXPECT_EQ(title, "\"my \\\"w\\\"\"");
  EXPECT_EQ(xyz_frame(c, {{"energy", full_precision(-8.5)}, {"block", "2"}, {"title", title}}),
            "2\n"
            "Properties=species:S:1:pos:R:3 energy=-8.5 block=2 title=\"my \\\"w\\\"\"\n"
            "O                     0.0                     0.0                   0.117\n"
            "H -1.0535970066360958e-06      0.8105705595648944                    12.0\n");
  c.sssss = std::string(title_length, ' ');
  EXPECT_EQ(quoted_title(c), "");
}

TEST(XyzTrajectory, FramesAccumulateInTheFileThatAseReads) {
  temp_dir dir;
  const common_var water = molecule(testing::water_atoms());
  {
    const std::string first = xyz_frame(water, {{"energy", full_precision(-8.25)}, {"block", "1"}});
    const std::string second = xyz_frame(water, {{"energy", full_precision(-8.5)}, {"block", "2"}, {"title", "\"water\""}});
    xyz_trajectory t((dir / "t.xyz").string());
    t.append(first);
    EXPECT_EQ(read_text(dir / "t.xyz"), first);  // on disk at once, for a viewer following the run
    t.append(second);
    EXPECT_EQ(read_text(dir / "t.xyz"), first + second);
  }
  const std::filesystem::path python = "/usr/bin/python3";
  if (!std::filesystem::exists(python)) GTEST_SKIP() << "no Python to check the file with ASE";
  const auto r = testing::run_program(
      python,
      {"-c", "import ase.io\n"
             "for a in ase.io.read('t.xyz', ':'):\n"
             "    print(a.get_chemical_formula(), a.info['block'], a.get_potential_energy(), a.positions[1][1], a.pbc.any())"},
      dir.path(), "");
  if (r.err.find("No module named 'ase'") != std::string::npos) GTEST_SKIP() << "ASE is not installed";
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "H2O 1 -8.25 0.757 False\nH2O 2 -8.5 0.757 False\n");
}

}  // namespace
}  // namespace tbrelax
