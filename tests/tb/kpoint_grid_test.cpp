#include "tb/kpoint_grid.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <stdexcept>

namespace tbrelax {
namespace {

constexpr double two_pi = 2 * std::numbers::pi;
const periodic_cell graphene{{{{2.46, 0, 0}, {-1.23, 2.130422493309719, 0}, {0, 0, 0}}}, {true, true, false}};
const periodic_cell skewed{{{{3.1, 0.2, -0.4}, {0.5, 2.7, 0.3}, {-0.6, 0.1, 4.2}}}, {true, true, true}};
const periodic_cell chain{{{{0.3, 2.5, 0.1}, {0, 0, 0}, {0, 0, 0}}}, {true, false, false}};
const periodic_cell molecule{};

double dot(const vector3& u, const vector3& v) { return u[0] * v[0] + u[1] * v[1] + u[2] * v[2]; }

// a_i . b_j = 2 pi delta_ij on periodic axes; the b of a periodic axis has no component along
// the completed (non-periodic) directions, so that phases depend on the periodic axes alone.
TEST(KpointGrid, ReciprocalVectorsOfSheetsChainsAndCrystals) {
  for (const periodic_cell& cell : {graphene, skewed, chain, molecule}) {
    const auto b = reciprocal_vectors(cell);
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) {
        if (!cell.pbc[i]) continue;
        EXPECT_NEAR(dot(cell.a[i], b[j]), i == j ? two_pi : 0.0, 1e-13);
        if (!cell.pbc[j]) {
          EXPECT_NEAR(dot(b[i], b[j]), 0.0, 1e-13);
        }
      }
  }
  EXPECT_NEAR(std::sqrt(dot(reciprocal_vectors(graphene)[0], reciprocal_vectors(graphene)[0])),
              4 * std::numbers::pi / (std::sqrt(3.0) * 2.46), 1e-14);
}

// Points kept after merging k with -k: a Gamma-centred 4 x 4 grid has 4 points equal to their own
// -k (m_i in {0, 2}) and 6 pairs; 3 x 3 has Gamma and 4 pairs; a Monkhorst-Pack 2 x 2 (shift 1/2)
// has 2 pairs; an irrational-looking shift merges nothing.
TEST(KpointGrid, KAndMinusKMergedWithWeightsSummingToOne) {
  struct row {
    periodic_cell cell;
    std::array<int, 3> n;
    std::array<double, 3> shift;
    std::size_t kept;
  };
  const row rows[] = {{graphene, {4, 4, 1}, {0, 0, 0}, 10}, {graphene, {3, 3, 1}, {0, 0, 0}, 5},
                      {graphene, {2, 2, 1}, {0.5, 0.5, 0}, 2}, {graphene, {3, 3, 1}, {0.3, 0, 0}, 9},
                      {skewed, {2, 3, 1}, {0, 0, 0.5}, 4},     {chain, {5, 1, 1}, {0, 0, 0}, 3},
                      {molecule, {1, 1, 1}, {0, 0, 0}, 1}};
  for (const row& r : rows) {
    const auto points = kpoint_grid(r.cell, r.n, r.shift);
    ASSERT_EQ(points.size(), r.kept) << r.n[0] << " " << r.n[1] << " " << r.n[2];
    double total = 0;
    const auto b = reciprocal_vectors(r.cell);
    for (const kpoint& p : points) {
      total += p.weight;
      for (int k = 0; k < 3; ++k)
        EXPECT_NEAR(p.k[k], p.fraction[0] * b[0][k] + p.fraction[1] * b[1][k] + p.fraction[2] * b[2][k], 1e-15);
    }
    EXPECT_NEAR(total, 1.0, 1e-15);
  }
  EXPECT_EQ(kpoint_grid(graphene, {3, 3, 1})[1].fraction, (vector3{0, 1.0 / 3, 0}));
}

TEST(KpointGrid, DefaultGridFromTheSpacingAndFaultsOfAGrid) {
  const periodic_cell cube{{{{10, 0, 0}, {0, 10, 0}, {0, 0, 10}}}, {true, true, true}};
  const double exact = two_pi / (5 * default_kpoint_spacing);  // |b| is five spacings
  const periodic_cell five{{{{exact, 0, 0}, {0, 1, 0}, {0, 0, 1}}}, {true, false, false}};
  EXPECT_EQ(default_kpoint_grid(graphene), (std::array<int, 3>{15, 15, 1}));
  EXPECT_EQ(default_kpoint_grid(cube), (std::array<int, 3>{4, 4, 4}));
  EXPECT_EQ(default_kpoint_grid(chain), (std::array<int, 3>{13, 1, 1}));
  EXPECT_EQ(default_kpoint_grid(five), (std::array<int, 3>{5, 1, 1}));
  EXPECT_EQ(default_kpoint_grid(molecule), (std::array<int, 3>{1, 1, 1}));

  struct row {
    std::array<int, 3> n;
    std::array<double, 3> shift;
    const char* fault;
  };
  const row rows[] = {
      {{4, 4, 1}, {0, 0, 0}, ""},
      {{0, 4, 1}, {0, 0, 0}, "k-point counts must be at least 1; the first axis has 0"},
      {{4, 4, 2}, {0, 0, 0}, "the third axis is not periodic: its k-point count must be 1, not 2"},
      {{4, 4, 1}, {0, 0, 0.5}, "the third axis is not periodic: its k-point shift must be 0"},
      {{4, 4, 1}, {0, NAN, 0}, "the k-point shift of the second axis is not a finite number"},
      {{4000, 4000, 1}, {0, 0, 0}, "the grid holds 16000000 k-points; at most 10000000 are allowed"},
  };
  for (const row& r : rows) EXPECT_EQ(kpoint_grid_fault(graphene, r.n, r.shift), r.fault);
  EXPECT_THROW(kpoint_grid(graphene, {4, 4, 2}), std::invalid_argument);
}

}  // namespace
}  // namespace tbrelax
