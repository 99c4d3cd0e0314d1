// Infrared intensities from the Hessian's dipole derivatives against finite differences of the
// dipole along each normal mode.
#include "hessian/ir_intensities.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "hessian/hessian.hpp"
#include "support/molecules.hpp"
#include "tb/charges.hpp"

namespace tbrelax {
namespace {

using testing::molecule;
using testing::test_model;

TEST(IrIntensities, UnitIsTheTextbookConversion) {
  // 42.2561 km/mol per (D/angstrom)^2/amu, with 1 e = 4.80320 D/angstrom.
  EXPECT_NEAR(ir_intensity_unit, 42.2561 * 4.80320 * 4.80320, 2e-3);
}

// The dipole (e angstrom) with every atom moved by step * d.
std::array<double, 3> dipole_along(const common_var& start, const std::vector<double>& d, double step) {
  test_model m;
  common_var c = start;
  for (int a = 0; a < c.at_count; ++a) {
    c.x[a] += step * d[3 * a];
    c.y[a] += step * d[3 * a + 1];
    c.z[a] += step * d[3 * a + 2];
  }
  force(c, m.model);
  return dipole_moment(c, mulliken_charges(c, m.workspace));
}

TEST(IrIntensities, MatchFiniteDifferencesOfTheDipoleAlongEachMode) {
  for (const auto& atoms : {testing::water_atoms(), testing::formaldehyde_atoms(), testing::hcn_atoms()}) {
    test_model m;
    common_var c = molecule(atoms);
    const common_var start = c;
    std::vector<double> derivatives;
    hess_cre(c, m.model, &derivatives);
    c.x = c.x0;
    c.y = c.y0;
    c.z = c.z0;
    const vibrational_analysis v = analyse_vibrations(c);
    const std::vector<double> intensities = ir_intensities(v, c.amass, derivatives);
    ASSERT_EQ(intensities.size(), v.frequencies.size());
    for (std::size_t k = 0; k < v.modes.size(); ++k) {
      // One unit of the mass-weighted normal coordinate moves the atoms by d / |sqrt(m) d|.
      const std::vector<double>& d = v.modes[k];
      double weighted = 0;
      for (std::size_t q = 0; q < d.size(); ++q) weighted += c.amass[q] * d[q] * d[q];
      const double dQ = 1e-3, step = dQ / std::sqrt(weighted);
      const auto plus = dipole_along(start, d, step), minus = dipole_along(start, d, -step);
      double slope2 = 0;
      for (int i = 0; i < 3; ++i) slope2 += std::pow((plus[i] - minus[i]) / (2 * dQ), 2);
      const double expected = ir_intensity_unit * slope2;
      EXPECT_NEAR(intensities[k], expected, 1e-3 * expected + 0.01) << "mode " << k << " of " << c.at_count;
    }
  }
}

}  // namespace
}  // namespace tbrelax
