// Held internal coordinates: their gradients, a concerted scan on the model that keeps every
// coordinate to rounding, and the constraint force as the slope of the scanned energy.
#include "optimize/relaxed_scan.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "optimize/constraints.hpp"
#include "support/molecules.hpp"

namespace tbrelax {
namespace {

using testing::molecule;
using testing::test_model;

constexpr double degree = std::numbers::pi / 180;

// Staggered ethane: C 1, C 2, then H 3-5 on C 1 and H 6-8 on C 2.
std::vector<testing::atom> ethane_atoms() {
  return {{'C', {0, 0, 0.765}},           {'C', {0, 0, -0.765}},          {'H', {1.018, 0, 1.16}},
          {'H', {-0.509, 0.881614, 1.16}}, {'H', {-0.509, -0.881614, 1.16}}, {'H', {-1.018, 0, -1.16}},
          {'H', {0.509, -0.881614, -1.16}}, {'H', {0.509, 0.881614, -1.16}}};
}

std::vector<double> positions_of(const common_var& c) {
  std::vector<double> x;
  for (int a = 0; a < c.at_count; ++a) x.insert(x.end(), {c.x[a], c.y[a], c.z[a]});
  return x;
}

TEST(InternalCoordinate, GradientsAreTheCentralDifferencesOfTheValues) {
  // A skew chain, no two bonds parallel; the dihedral at 90 degrees turns the sign clockwise.
  const std::vector<double> x = {0.3, 1.1, -0.2, 0, 0, 0, 1.4, 0.1, 0.05, 1.6, -0.4, 1.2};
  struct probe {
    coordinate_kind kind;
    std::array<int, 4> atoms;
  };
  for (const probe& p : {probe{coordinate_kind::distance, {0, 2}}, probe{coordinate_kind::angle, {0, 1, 2}},
                         probe{coordinate_kind::dihedral, {0, 1, 2, 3}}, probe{coordinate_kind::dihedral, {3, 2, 1, 0}}}) {
    const internal_coordinate q{p.kind, p.atoms};
    const std::vector<double> g = q.gradient(x);
    for (std::size_t k = 0; k < x.size(); ++k) {
      std::vector<double> plus = x, minus = x;
      plus[k] += 1e-6;
      minus[k] -= 1e-6;
      const double difference = coordinate_difference(p.kind, q.value(plus), q.value(minus)) / 2e-6;
      EXPECT_NEAR(g[k], difference, 1e-7) << q.label() << " coordinate " << k;
    }
  }
  const internal_coordinate right{coordinate_kind::dihedral, {0, 1, 2, 3}};
  const std::vector<double> square = {0, 1, 0, 0, 0, 0, 1, 0, 0, 1, 0, 1};
  EXPECT_NEAR(std::abs(right.value(square)), std::numbers::pi / 2, 1e-15);
  EXPECT_NEAR(coordinate_difference(coordinate_kind::dihedral, 179 * degree, -179 * degree), -2 * degree, 1e-15);
}

TEST(RelaxedScan, HeldCoordinatesStayAtTheirValuesToRoundingWhileTheRestRelaxes) {
  test_model m;
  common_var c = molecule(ethane_atoms());
  molecule_objective f(c, m.model, {});
  scan_settings s;
  s.coordinates = {{{coordinate_kind::distance, {0, 1}}, 1.45, 1.65},
                   {{coordinate_kind::angle, {2, 0, 1}}, 105 * degree, 115 * degree},
                   {{coordinate_kind::dihedral, {2, 0, 1, 5}}, 60 * degree, 20 * degree}};
  s.steps = 4;
  const auto points = relaxed_scan(f, positions_of(c), s);
  ASSERT_EQ(points.size(), 5u);
  for (std::size_t k = 0; k < points.size(); ++k) {
    EXPECT_TRUE(points[k].converged);
    EXPECT_LT(largest_atom_norm(points[k].relaxed.force), s.stop.fmax);
    for (std::size_t i = 0; i < s.coordinates.size(); ++i) {
      const internal_coordinate& q = s.coordinates[i].q;
      EXPECT_NEAR(coordinate_difference(q.kind, q.value(points[k].relaxed.x), scan_value(s, i, static_cast<int>(k))), 0,
                  1e-10)
          << q.label() << " at point " << k;
    }
  }
}

TEST(RelaxedScan, ConstraintForceIsTheSlopeOfTheRelaxedEnergy) {
  // Stretched and compressed C-C bonds: the tension changes sign at the relaxed length.
  for (const double centre : {1.35, 1.8}) {
    test_model m;
    common_var c = molecule(ethane_atoms());
    molecule_objective f(c, m.model, {});
    constexpr double h = 0.005;
    scan_settings s{{{{coordinate_kind::distance, {0, 1}}, centre - h, centre + h}}, 2, {1e-5, 1000}};
    const auto points = relaxed_scan(f, positions_of(c), s);
    const double slope = (points[2].relaxed.energy - points[0].relaxed.energy) / (2 * h);
    EXPECT_NEAR(points[1].constraint_forces[0], slope, 2e-3 * std::abs(slope)) << centre;
    EXPECT_EQ(points[1].constraint_forces[0] > 0, centre > 1.5) << centre;
  }
}

}  // namespace
}  // namespace tbrelax
