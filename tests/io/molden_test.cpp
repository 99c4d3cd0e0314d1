#include "io/molden.hpp"

#include <gtest/gtest.h>

#include "support/molecules.hpp"

namespace tbrelax {
namespace {

TEST(Molden, SectionsInBohrWithOneBlockPerVibration) {
  const common_var c = testing::molecule({{'C', {0, 0, 0}}, {'O', {0, 0, 1.1}}, {'N', {0, 0, -bohr_in_angstrom}}});
  const std::vector<double> frequencies = {-123.45678, 2100.0}, intensities = {0.5, 1234.56789};
  const std::vector<std::vector<double>> modes = {{0, 0, 0.6, 0, 0, -0.8, 0, 0, -1e-7},
                                                  {0.25, 0.5, 0.75, 1, 0, 0, 0, 0, 0}};
  EXPECT_EQ(molden_text(c, {frequencies, intensities, modes}),
            "[Molden Format]\n"
            "[Atoms] AU\n"
            "C      1   6       0.0000000000       0.0000000000       0.0000000000\n"
            "O      2   8       0.0000000000       0.0000000000       2.0786987371\n"
            "N      3   7       0.0000000000       0.0000000000      -1.0000000000\n"
            "[FREQ]\n"
            "     -123.4568\n"
            "     2100.0000\n"
            "[INT]\n"
            "        0.5000\n"
            "     1234.5679\n"
            "[FR-COORD]\n"
            "C        0.0000000000       0.0000000000       0.0000000000\n"
            "O        0.0000000000       0.0000000000       2.0786987371\n"
            "N        0.0000000000       0.0000000000      -1.0000000000\n"
            "[FR-NORM-COORD]\n"
            "vibration 1\n"
            "    0.000000     0.000000     0.600000\n"
            "    0.000000     0.000000    -0.800000\n"
            "    0.000000     0.000000     0.000000\n"
            "vibration 2\n"
            "    0.250000     0.500000     0.750000\n"
            "    1.000000     0.000000     0.000000\n"
            "    0.000000     0.000000     0.000000\n");
}

}  // namespace
}  // namespace tbrelax
