#include "tb/fermi_dirac.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

#include "state/physical_constants.hpp"

namespace tbrelax {
namespace {

using levels = std::vector<std::vector<double>>;

double electron_count(const band_occupations& o, const std::vector<double>& w) {
  double n = 0;
  for (std::size_t k = 0; k < w.size(); ++k)
    for (double f : o.f[k]) n += w[k] * f;
  return n;
}

// The count holds at every temperature; as T -> 0 the occupations approach those of T = 0; the
// band energy and the entropy equal their direct sums over the occupations.
TEST(FermiDirac, CountLimitEnergyAndEntropy) {
  struct row {
    levels eps;
    std::vector<double> w;
    int electrons;
  };
  const row rows[] = {
      {{{-3, -1.2, 0.4, 2}, {-2.5, -0.8, 0.1, 1.7}, {-2.9, -1.0, 0.3, 2.2}}, {0.25, 0.5, 0.25}, 3},
      {{{-3, -1.2, 0.4, 2}, {-2.5, -0.8, 0.1, 1.7}}, {1.0 / 3, 2.0 / 3}, 5},
      {{{-1, 1}}, {1}, 2},
      {{{-1, 1}}, {1}, 0},
  };
  for (const row& r : rows) {
    const band_occupations cold = occupy_bands(r.eps, r.w, r.electrons, 0);
    for (const double T : {1e-3, 300.0, 3000.0, 1e5}) {
      SCOPED_TRACE(T);
      const band_occupations o = occupy_bands(r.eps, r.w, r.electrons, T);
      EXPECT_NEAR(electron_count(o, r.w), r.electrons, 1e-13);
      double energy = 0, entropy = 0;
      for (std::size_t k = 0; k < r.w.size(); ++k)
        for (std::size_t n = 0; n < r.eps[k].size(); ++n) {
          const double f = o.f[k][n], g = f / 2;
          energy += r.w[k] * f * r.eps[k][n];
          if (g > 0 && g < 1) entropy -= 2 * boltzmann_ev * r.w[k] * (g * std::log(g) + (1 - g) * std::log(1 - g));
          if (T == 1e-3) {
            EXPECT_NEAR(f, cold.f[k][n], 1e-12);
          }
        }
      EXPECT_NEAR(o.band_energy, energy, 1e-13);
      EXPECT_NEAR(o.entropy, entropy, 1e-10 * boltzmann_ev);  // the count settled at 1e-3 K moves f by 1e-11
    }
  }
}

// Where the levels have a gap the Fermi level is its middle at T = 0 and where the tails
// balance above: with two filled levels below a gap of 2 eV and one empty level above, the
// holes 4 exp(-(1 + mu)/kT) match the electrons 2 exp(-(1 - mu)/kT) at mu = kT ln 2 / 2; at
// 1 K the tails underflow and mu stays in the middle.
TEST(FermiDirac, FermiLevelInAGap) {
  const levels eps = {{-1, -1, 1}};
  const double kT = boltzmann_ev * 300;
  EXPECT_EQ(occupy_bands(eps, {1}, 4, 0).fermi_level, 0.0);
  EXPECT_NEAR(occupy_bands(eps, {1}, 4, 300).fermi_level, kT * std::log(2.0) / 2, 1e-15);
  EXPECT_EQ(occupy_bands(eps, {1}, 4, 1).fermi_level, 0.0);
  EXPECT_EQ(occupy_bands({{-1, 0.5}}, {1}, 4, 0).fermi_level, 0.5);  // every level full
}

// At T = 0 the levels of the edge share what is left: a twofold level holding 2 of its 4
// electrons is flagged, at one k or across two; a singly filled lone level is not; T > 0 never.
TEST(FermiDirac, DegenerateEdgeSharesEqually) {
  struct row {
    levels eps;
    std::vector<double> w;
    int electrons;
    double temperature;
    std::vector<double> edge_f;  // f of the second level of each k
    bool degenerate;
  };
  const row rows[] = {
      {{{-1, 0, 0, 1}}, {1}, 4, 0, {1}, true},
      {{{-1, 0, 1}}, {1}, 3, 0, {1}, false},
      {{{-1, 0}, {-1, 1e-10}}, {0.5, 0.5}, 3, 0, {1, 1}, true},
      {{{-1, 0}, {-1, 1e-6}}, {0.5, 0.5}, 3, 0, {2, 0}, false},
      {{{-1, 0, 0, 1}}, {1}, 4, 10, {1}, false},
  };
  for (const row& r : rows) {
    const band_occupations o = occupy_bands(r.eps, r.w, r.electrons, r.temperature);
    for (std::size_t k = 0; k < r.w.size(); ++k) EXPECT_NEAR(o.f[k][1], r.edge_f[k], 1e-12);
    EXPECT_EQ(o.degenerate_edge, r.degenerate);
  }
  EXPECT_THROW(occupy_bands({{0}}, {1}, 1, -1), std::invalid_argument);
  EXPECT_THROW(occupy_bands({{0}}, {1}, 1, NAN), std::invalid_argument);
  EXPECT_THROW(occupy_bands({{0}}, {1}, 3, 0), std::invalid_argument);
}

}  // namespace
}  // namespace tbrelax
