#include "driver/cell_relaxation.hpp"

#include <cmath>
#include <gtest/gtest.h>

#include "state/errors.hpp"
#include "support/molecules.hpp"
#include "tb/kpoint_grid.hpp"

namespace tbrelax {
namespace {

using testing::atom;
using testing::molecule;
using testing::test_model;
using vec3 = std::array<double, 3>;

// Structures whose atoms sit where symmetry holds them, scaled by s: graphene's two-atom cell
// (side 2.46 s, 20 A of vacuum) and diamond's two-atom fcc cell (cube side 3.567 s).
struct structure {
  periodic_cell cell;
  std::vector<atom> atoms;
  std::array<int, 3> grid;
};

structure graphene(double s) {
  const double a = 2.46 * s, h = 0.5 * std::sqrt(3.0) * a;
  return {{{vec3{a, 0, 0}, vec3{-0.5 * a, h, 0}, vec3{0, 0, 20}}, {true, true, false}},
          {{'C', {0, 2 * h / 3, 0}}, {'C', {0.5 * a, h / 3, 0}}},
          {6, 6, 1}};
}

structure diamond(double s) {
  const double a = 3.567 * s, q = 0.25 * a;
  return {{{vec3{0, 2 * q, 2 * q}, vec3{2 * q, 0, 2 * q}, vec3{2 * q, 2 * q, 0}}, {true, true, true}},
          {{'C', {0, 0, 0}}, {'C', {q, q, q}}},
          {6, 6, 6}};
}

double free_energy_at(const structure& st, test_model& m) {
  common_var c = molecule(st.atoms);
  const periodic_settings s{st.cell, kpoint_grid(st.cell, st.grid), 300};
  return evaluate_periodic(c, m.par, s, *m.solver).free_energy;
}

// The scale of the lowest F by golden sections: an independent route to the minimum.
double best_scale(structure (*make)(double), test_model& m) {
  const double g = 0.5 * (std::sqrt(5.0) - 1);
  double lo = 0.95, hi = 1.05;
  double x1 = hi - g * (hi - lo), x2 = lo + g * (hi - lo);
  double f1 = free_energy_at(make(x1), m), f2 = free_energy_at(make(x2), m);
  while (hi - lo > 1e-6) {
    if (f1 < f2) hi = x2, x2 = x1, f2 = f1, x1 = hi - g * (hi - lo), f1 = free_energy_at(make(x1), m);
    else lo = x1, x1 = x2, f1 = f2, x2 = lo + g * (hi - lo), f2 = free_energy_at(make(x2), m);
  }
  return 0.5 * (lo + hi);
}

TEST(CellRelaxation, ReachesTheMinimumOfTheLatticeConstantFromThreePercentOff) {
  test_model m;
  const struct {
    const char* name;
    structure (*make)(double);
    double side;
  } cases[] = {{"graphene", graphene, 2.46}, {"diamond", diamond, 3.567 / std::sqrt(2.0)}};
  for (const auto& k : cases) {
    const structure st = k.make(1.03);
    common_var c = molecule(st.atoms);
    const periodic_model model{m.par, *m.solver, {st.cell, kpoint_grid(st.cell, st.grid), 300}};
    cell_relaxation_settings s;
    s.free = periodic_components(st.cell);
    s.fmax = 1e-3;
    const cell_relaxation_result r = relax_with_cell(c, model, s);
    ASSERT_EQ(r.reason, stop_reason::converged) << k.name;
    EXPECT_LE(r.evaluations, 30) << k.name;
    const double side = std::hypot(r.cell.a[0][0], r.cell.a[0][1], r.cell.a[0][2]);
    EXPECT_NEAR(side, k.side * best_scale(k.make, m), 1e-4) << k.name;
    for (int v = 0; v < 6; ++v) EXPECT_LT(s.free[v] ? std::abs(r.stress[v]) : 0.0, s.smax) << k.name << " " << v;
    // The vacuum vector of the sheet stays exactly as it was.
    if (!st.cell.pbc[2]) {
      EXPECT_EQ(r.cell.a[2], st.cell.a[2]) << k.name;
    }
  }
}

TEST(CellRelaxation, MasksKeepTheirComponentsToTheLastBit) {
  // A stretched sheet free along x only: every y and z component stays; isotropic: a1 and a2
  // scale alike, so their ratio of lengths holds.
  test_model m;
  structure st = graphene(1.0);
  st.cell.a[0][0] *= 1.04;
  st.atoms[1].r[0] *= 1.04;
  for (const bool isotropic : {false, true}) {
    common_var c = molecule(st.atoms);
    const periodic_model model{m.par, *m.solver, {st.cell, kpoint_grid(st.cell, st.grid), 300}};
    cell_relaxation_settings s;
    s.free = periodic_components(st.cell);
    s.isotropic = isotropic;
    if (!isotropic) s.free = {true, false, false, false, false, false};
    const cell_relaxation_result r = relax_with_cell(c, model, s);
    ASSERT_EQ(r.reason, stop_reason::converged);
    const auto length = [](const vec3& v) { return std::hypot(v[0], v[1], v[2]); };
    if (isotropic) {
      EXPECT_NEAR(length(r.cell.a[0]) / length(r.cell.a[1]), length(st.cell.a[0]) / length(st.cell.a[1]), 1e-14);
      EXPECT_NE(r.cell.a[0][0], st.cell.a[0][0]);
      continue;
    }
    EXPECT_NE(r.cell.a[0][0], st.cell.a[0][0]);
    for (int i = 0; i < 3; ++i)
      for (int d = 1; d < 3; ++d) EXPECT_EQ(r.cell.a[i][d], st.cell.a[i][d]) << i << " " << d;
  }
}

TEST(CellRelaxation, RefusesCellsItCannotKeepInTheirPlane) {
  const periodic_cell tilted{{vec3{2.5, 0, 0.3}, vec3{0, 2.5, 0}, vec3{0, 0, 20}}, {true, true, false}};
  const periodic_cell molecule_box{{vec3{9, 0, 0}, vec3{0, 9, 0}, vec3{0, 0, 9}}, {false, false, false}};
  EXPECT_THROW(periodic_components(tilted), input_rejected);
  EXPECT_THROW(periodic_components(molecule_box), input_rejected);
}

}  // namespace
}  // namespace tbrelax
