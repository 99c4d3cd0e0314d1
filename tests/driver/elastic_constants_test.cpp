#include "driver/elastic_constants.hpp"

#include <cmath>
#include <gtest/gtest.h>

#include "support/molecules.hpp"
#include "tb/kpoint_grid.hpp"

namespace tbrelax {
namespace {

using testing::atom;
using testing::molecule;
using testing::test_model;
using vec3 = std::array<double, 3>;

// The cell relaxed first, then its constants; symmetry fixes relations among them.
struct relaxed {
  common_var c;
  periodic_model model;
};

relaxed relax_first(const periodic_cell& cell, const std::vector<atom>& atoms, std::array<int, 3> grid,
                    test_model& m) {
  relaxed r{molecule(atoms), {m.par, *m.solver, {cell, kpoint_grid(cell, grid), 300}}};
  cell_relaxation_settings s;
  s.free = periodic_components(cell);
  s.fmax = 1e-4;
  s.smax = 1e-7;
  const cell_relaxation_result done = relax_with_cell(r.c, r.model, s);
  r.model.settings.cell = done.cell;
  r.model.settings.kpoints = kpoint_grid(done.cell, grid);
  return r;
}

TEST(ElasticConstants, HexagonalSheetAndCubicCrystalKeepTheirSymmetry) {
  test_model m;
  const double a = 2.5, h = 0.5 * std::sqrt(3.0) * a;
  relaxed sheet = relax_first({{vec3{a, 0, 0}, vec3{-0.5 * a, h, 0}, vec3{0, 0, 20}}, {true, true, false}},
                              {{'C', {0, 2 * h / 3, 0}}, {'C', {0.5 * a, h / 3, 0}}}, {12, 12, 1}, m);
  const elastic_result g = elastic_constants(sheet.c, sheet.model);
  EXPECT_TRUE(g.converged);
  EXPECT_NEAR(g.C[1][1], g.C[0][0], 1e-4 * g.C[0][0]);
  EXPECT_NEAR(g.C[5][5], 0.5 * (g.C[0][0] - g.C[0][1]), 1e-3 * g.C[0][0]);  // isotropic in the plane
  EXPECT_EQ(g.C[2][2], 0);
  const elastic_moduli gm = derived_moduli(g.C, g.free, 2);
  EXPECT_NEAR(gm.poisson, g.C[0][1] / g.C[0][0], 1e-4);

  // Diamond: C11 = C22 = C33, C44 = C55 = C66, and the bulk modulus (C11 + 2 C12) / 3 is the
  // curvature V d2F/dV2 of the free energy under a uniform stretch (the atoms stay put there).
  const double q = 0.25 * 3.553;
  relaxed crystal = relax_first({{vec3{0, 2 * q, 2 * q}, vec3{2 * q, 0, 2 * q}, vec3{2 * q, 2 * q, 0}}, {true, true, true}},
                                {{'C', {0, 0, 0}}, {'C', {q, q, q}}}, {6, 6, 6}, m);
  const elastic_result c = elastic_constants(crystal.c, crystal.model);
  for (int i = 1; i < 3; ++i) {
    EXPECT_NEAR(c.C[i][i], c.C[0][0], 1e-4 * c.C[0][0]);
    EXPECT_NEAR(c.C[i + 3][i + 3], c.C[3][3], 1e-4 * c.C[0][0]);
  }
  const auto F_at = [&](double s) {
    periodic_model model = crystal.model;
    for (auto& v : model.settings.cell.a)
      for (double& q : v) q *= s;
    model.settings.kpoints = kpoint_grid(model.settings.cell, {6, 6, 6});
    common_var x = crystal.c;
    for (int k = 0; k < x.at_count; ++k) x.x[k] *= s, x.y[k] *= s, x.z[k] *= s;
    return evaluate_periodic(x, m.par, model.settings, *m.solver).free_energy;
  };
  const double step = 1e-3, V = cell_volume(crystal.model.settings.cell);
  // F(V) with V = V0 s^3: d2F/dV2 at s = 1 is (F'' - 2 F') / (9 V^2) in s, F' = 0 at the minimum.
  const double curvature = (F_at(1 + step) - 2 * F_at(1) + F_at(1 - step)) / (step * step) / (9 * V);
  EXPECT_NEAR(derived_moduli(c.C, c.free, 3).bulk, curvature, 2e-3 * curvature);
}

}  // namespace
}  // namespace tbrelax
