#include "tb/stress.hpp"

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

// Distorted cells small enough that every atom sees its own images.
struct stress_case {
  const char* name;
  periodic_cell cell;
  std::vector<atom> atoms;
  std::array<int, 3> grid;
};

std::vector<stress_case> stress_cases() {
  const double a = 2.46, h = 0.5 * std::sqrt(3.0) * a;
  return {
      {"sheet",
       {{vec3{a, 0.03, 0}, vec3{-0.5 * a, h, 0.02}, vec3{0, 0, 20}}, {true, true, false}},
       {{'C', {0.05, 1.42, 0.03}}, {'C', {1.23, 0.71, -0.02}}},
       {3, 3, 1}},
      {"chain",
       {{vec3{2.5, 0.1, 0}, vec3{0, 15, 0}, vec3{0, 0, 15}}, {true, false, false}},
       {{'C', {0, 0, 0}}, {'C', {1.3, 0.1, 0.02}}, {'H', {0.1, 1.05, 0}}, {'H', {1.2, -1.0, 0.1}}},
       {4, 1, 1}},
      {"crystal",
       {{vec3{0.05, 1.8, 1.8}, vec3{1.8, 0, 1.75}, vec3{1.8, 1.85, 0}}, {true, true, true}},
       {{'C', {0.02, -0.01, 0}}, {'C', {0.9, 0.88, 0.91}}, {'N', {1.7, 0.2, 1.1}}},
       {2, 2, 2}},
  };
}

// F after the deformation 1 + e of every position and every lattice vector, on the same
// fractional k-point grid.
double strained_free_energy(const stress_case& sc, const std::array<vec3, 3>& e, double T, test_model& m) {
  const auto deform = [&](const vec3& r) {
    vec3 out;
    for (int i = 0; i < 3; ++i) out[i] = r[i] + e[i][0] * r[0] + e[i][1] * r[1] + e[i][2] * r[2];
    return out;
  };
  std::vector<atom> atoms = sc.atoms;
  for (atom& at : atoms) at.r = deform(at.r);
  periodic_cell cell = sc.cell;
  for (vec3& v : cell.a) v = deform(v);
  common_var c = molecule(atoms);
  const periodic_settings s{cell, kpoint_grid(cell, sc.grid, {0, 0, 0}), T};
  return evaluate_periodic(c, m.par, s, *m.solver).free_energy;
}

TEST(Stress, IsTheStrainDerivativeOfTheFreeEnergyOverTheVolume) {
  test_model m;
  const int voigt_i[6] = {0, 1, 2, 1, 0, 0}, voigt_j[6] = {0, 1, 2, 2, 2, 1};
  const double h = 1e-5;
  for (const stress_case& sc : stress_cases())
    for (double T : {0.0, 1000.0}) {
      common_var c = molecule(sc.atoms);
      const periodic_settings s{sc.cell, kpoint_grid(sc.cell, sc.grid, {0, 0, 0}), T};
      const voigt sigma = stress_of(evaluate_periodic(c, m.par, s, *m.solver), sc.cell);
      for (int v = 0; v < 6; ++v) {
        // A symmetric strain: both off-diagonal elements move, so the difference counts twice.
        std::array<vec3, 3> e{};
        e[voigt_i[v]][voigt_j[v]] = h;
        e[voigt_j[v]][voigt_i[v]] = h;
        const double up = strained_free_energy(sc, e, T, m);
        for (vec3& row : e)
          for (double& x : row) x = -x;
        const double down = strained_free_energy(sc, e, T, m);
        const double fd = (up - down) / (v < 3 ? 2 * h : 4 * h) / cell_volume(sc.cell);
        EXPECT_NEAR(sigma[v], fd, 1e-7) << sc.name << " T " << T << " component " << v;
      }
    }
}

TEST(Stress, ReducedFormsOfSheetsAndChains) {
  // A sheet's 2D stress is sigma |a3| for a3 normal to it; a chain's tension sigma times its
  // cross-section; a crystal keeps its stress.
  const struct {
    periodic_cell cell;
    double scale;
  } cases[] = {
      {{{vec3{2, 0, 0}, vec3{1, 3, 0}, vec3{0, 0, 10}}, {true, true, false}}, 10},
      {{{vec3{2, 0, 0}, vec3{0, 7, 0}, vec3{0, 1, 5}}, {true, false, false}}, 35},
      {{{vec3{2, 0, 0}, vec3{0, 7, 0}, vec3{0, 1, 5}}, {true, true, true}}, 1},
  };
  const voigt sigma{1, 2, 3, 4, 5, 6};
  for (const auto& c : cases) {
    const voigt r = reduced_stress(sigma, c.cell);
    for (int v = 0; v < 6; ++v) EXPECT_DOUBLE_EQ(r[v], sigma[v] * c.scale);
  }
}

}  // namespace
}  // namespace tbrelax
