#include "io/wri_crd.hpp"

#include <gtest/gtest.h>


#include "state/errors.hpp"
#include "support/test_support.hpp"

namespace tbrelax {
namespace {

using testing::read_text;
using testing::temp_dir;

common_var water() {
  common_var c;
  allocate_arrays(c, 3);
  c.at_count = 3;
  c.at_type = {4, 1, 1};
  c.x = {0.0, 0.0, 0.0};
  c.y = {0.0, 0.757, -0.757};
  c.z = {0.117, -0.467, -0.467};
  c.sssss = "water" + std::string(45, ' ');
  return c;
}

const std::string water_atoms =
    "           3\n water                                             \n"
    " O          0.00000000          0.00000000          0.11700000\n"
    " H          0.00000000          0.75700000         -0.46700000\n"
    " H          0.00000000         -0.75700000         -0.46700000\n"
    " \n Optimized molecular geometry is listed above\n";

TEST(WriCrd, WaterReportByteForByte) {
  temp_dir dir;
  wri_crd(water(), -20.0, (dir / "output.xyz").string());
  EXPECT_EQ(read_text(dir / "output.xyz"), water_atoms + "Calculated binding energy is 6.610 eV per atom\n");
  // The model's energy of this geometry.
  EXPECT_EQ(report_text(water(), -8.6857502).substr(water_atoms.size()),
            "Calculated binding energy is 2.839 eV per atom\n");
}

TEST(WriCrd, BindingEnergyPerAtom) {
  EXPECT_NEAR(binding_energy_per_atom(-4.8422137523, 2), 2.36439687615, 1e-11);
  EXPECT_NEAR(binding_energy_per_atom(-20.0, 3), 6.609956666666667, 1e-14);
  common_var c = water();
  EXPECT_TRUE(report_text(c, -400.0).ends_with("Calculated binding energy is****** eV per atom\n"));
  EXPECT_TRUE(report_text(c, 30.0).ends_with("Calculated binding energy is****** eV per atom\n"));
  EXPECT_TRUE(report_text(c, 20.0).ends_with("Calculated binding energy is-6.723 eV per atom\n"));
}

TEST(WriCrd, CutsALongerOldFileAndRewritesTheSame) {
  temp_dir dir;
  const auto path = dir / "output.xyz";
  testing::write_text(path, std::string(5000, 'x') + "\n");
  wri_crd(water(), -20.0, path.string());
  const std::string first = read_text(path);
  EXPECT_EQ(first.size(), water_atoms.size() + 47);
  wri_crd(water(), -20.0, path.string());
  EXPECT_EQ(read_text(path), first);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);  // no leftovers
}

// From 1e9 angstrom on a negative coordinate fills all 20 columns and runs into the field before
// it; such a line no longer reads back (found by fuzzing the reader and the writer together).
TEST(WriCrd, ACoordinateFillingItsFieldJoinsTheOneBefore) {
  common_var c = water();
  c.y[0] = -2147483647.63;
  EXPECT_NE(report_text(c, -8.0).find("\n O          0.00000000-2147483647.63000011          0.11700000\n"),
            std::string::npos);
}

}  // namespace
}  // namespace tbrelax
