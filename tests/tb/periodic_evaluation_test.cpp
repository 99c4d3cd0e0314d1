#include "tb/periodic_evaluation.hpp"

#include <cmath>
#include <gtest/gtest.h>

#ifdef _OPENMP
#include <omp.h>
#endif

#include "state/errors.hpp"
#include "support/molecules.hpp"
#include "tb/force.hpp"
#include "tb/lattice_terms.hpp"

namespace tbrelax {
namespace {

using testing::atom;
using testing::molecule;
using testing::test_model;
using vec3 = std::array<double, 3>;

periodic_cell cell_of(vec3 a1, vec3 a2, vec3 a3, std::array<bool, 3> pbc) { return {{a1, a2, a3}, pbc}; }

// Graphene: two carbon atoms in the hexagonal cell of side 2.46 A, the sheet 20 A from its images.
const double graphene_a = 2.46;
periodic_cell graphene_cell(int m) {
  return cell_of({m * graphene_a, 0, 0}, {-0.5 * m * graphene_a, 0.5 * std::sqrt(3.0) * m * graphene_a, 0},
                 {0, 0, 20}, {true, true, false});
}
std::vector<atom> graphene_atoms(int m) {
  std::vector<atom> atoms;
  const vec3 a1{graphene_a, 0, 0}, a2{-0.5 * graphene_a, 0.5 * std::sqrt(3.0) * graphene_a, 0};
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < m; ++j)
      for (double f : {1.0 / 3, 2.0 / 3}) {
        const double u = i + f, v = j + (f < 0.5 ? 2.0 / 3 : 1.0 / 3);
        atoms.push_back({'C', {u * a1[0] + v * a2[0], u * a1[1] + v * a2[1], 0}});
      }
  return atoms;
}

periodic_settings settings(const periodic_cell& cell, std::array<int, 3> grid, double T,
                           std::array<double, 3> shift = {0, 0, 0}) {
  return {cell, kpoint_grid(cell, grid, shift), T};
}

TEST(PeriodicEvaluation, WaterInALargeBoxIsTheMolecule) {
  test_model m;
  common_var free = molecule(testing::water_atoms());
  const double E = force(free, m.model);
  common_var boxed = molecule(testing::water_atoms());
  const periodic_cell box = cell_of({30, 0, 0}, {0, 30, 0}, {0, 0, 30}, {true, true, true});
  const periodic_evaluation p = evaluate_periodic(boxed, m.par, settings(box, {1, 1, 1}, 0), *m.solver);
  EXPECT_NEAR(p.energy, E, 1e-9);
  EXPECT_EQ(p.free_energy, p.energy);
  EXPECT_TRUE(p.molecular_filling);
  for (int a = 0; a < 3; ++a) {
    EXPECT_NEAR(boxed.fx[a], free.fx[a], 2e-5);
    EXPECT_NEAR(boxed.fz[a], free.fz[a], 2e-5);
  }
}

TEST(PeriodicEvaluation, SupercellAtGammaEqualsPrimitiveCellOnTheGrid) {
  test_model m;
  for (double T : {300.0, 1000.0}) {
    common_var big = molecule(graphene_atoms(3)), small = molecule(graphene_atoms(1));
    const periodic_evaluation super = evaluate_periodic(big, m.par, settings(graphene_cell(3), {1, 1, 1}, T), *m.solver);
    const periodic_evaluation prim = evaluate_periodic(small, m.par, settings(graphene_cell(1), {3, 3, 1}, T), *m.solver);
    EXPECT_NEAR(super.energy / 18, prim.energy / 2, 1e-10) << T;
    EXPECT_NEAR(super.free_energy / 18, prim.free_energy / 2, 1e-10) << T;
    EXPECT_NEAR(super.fermi_level, prim.fermi_level, 1e-9) << T;
    EXPECT_NEAR(super.charges[0], prim.charges[0], 1e-9) << T;
  }
}

// A slightly distorted structure of each dimension: forces against -dF/dr by central differences.
struct force_case {
  const char* name;
  periodic_cell cell;
  std::vector<atom> atoms;
  std::array<int, 3> grid;
};

std::vector<force_case> force_cases() {
  return {
      {"sheet", graphene_cell(1), {{'C', {0.05, 1.42, 0.03}}, {'C', {1.23, 0.71, -0.02}}}, {3, 3, 1}},
      {"chain",
       cell_of({2.5, 0, 0}, {0, 15, 0}, {0, 0, 15}, {true, false, false}),
       {{'C', {0, 0, 0}}, {'C', {1.3, 0.1, 0.02}}, {'H', {0.1, 1.05, 0}}, {'H', {1.2, -1.0, 0.1}}},
       {4, 1, 1}},
      {"crystal",
       cell_of({0, 1.8, 1.8}, {1.8, 0, 1.8}, {1.8, 1.8, 0}, {true, true, true}),
       {{'C', {0.02, -0.01, 0}}, {'C', {0.9, 0.88, 0.91}}},
       {2, 2, 2}},
  };
}

TEST(PeriodicEvaluation, ForcesAreMinusTheGradientOfTheFreeEnergy) {
  test_model m;
  for (const force_case& fc : force_cases())
    for (double T : {0.0, 1000.0}) {
      common_var c = molecule(fc.atoms);
      const periodic_settings s = settings(fc.cell, fc.grid, T);
      evaluate_periodic(c, m.par, s, *m.solver);
      const common_var base = c;
      const double h = 1e-4;
      for (int a = 0; a < c.at_count; ++a)
        for (int axis = 0; axis < 3; ++axis) {
          std::vector<double>& q = axis == 0 ? c.x : axis == 1 ? c.y : c.z;
          const double q0 = q[a];
          q[a] = q0 + h;
          const double up = evaluate_periodic(c, m.par, s, *m.solver).free_energy;
          q[a] = q0 - h;
          const double down = evaluate_periodic(c, m.par, s, *m.solver).free_energy;
          q[a] = q0;
          const double f = axis == 0 ? base.fx[a] : axis == 1 ? base.fy[a] : base.fz[a];
          EXPECT_NEAR(f, -(up - down) / (2 * h), 2e-6) << fc.name << " T " << T << " atom " << a << " axis " << axis;
        }
    }
}

TEST(PeriodicEvaluation, InvariantUnderTranslationAndChoiceOfCell) {
  test_model m;
  const force_case fc = force_cases()[0];
  common_var c = molecule(fc.atoms);
  const periodic_evaluation ref = evaluate_periodic(c, m.par, settings(fc.cell, {4, 4, 1}, 300), *m.solver);
  // Shifted atoms; the same lattice spanned by a1 and a1 + a2 with its grid.
  common_var moved = molecule(fc.atoms);
  for (int a = 0; a < 2; ++a) moved.x[a] += 0.37, moved.y[a] -= 1.1, moved.z[a] += 0.2;
  const periodic_evaluation shifted = evaluate_periodic(moved, m.par, settings(fc.cell, {4, 4, 1}, 300), *m.solver);
  periodic_cell other = fc.cell;
  for (int d = 0; d < 3; ++d) other.a[1][d] += other.a[0][d];
  common_var same = molecule(fc.atoms);
  const periodic_evaluation recut = evaluate_periodic(same, m.par, settings(other, {4, 4, 1}, 300), *m.solver);
  for (const auto& [p, s] : {std::pair{&shifted, &moved}, std::pair{&recut, &same}}) {
    EXPECT_NEAR(p->free_energy, ref.free_energy, 1e-10);
    for (int a = 0; a < 2; ++a) EXPECT_NEAR(s->fx[a], c.fx[a], 1e-7);
  }
}

#ifdef _OPENMP
// The sums over k-points and lattice terms are added in a fixed order: one thread or several
// give the same bits, energy, forces and stress alike.
TEST(PeriodicEvaluation, ResultsDoNotDependOnTheNumberOfThreads) {
  test_model m;
  const int threads = omp_get_max_threads();
  for (const force_case& fc : force_cases()) {
    periodic_settings s = settings(fc.cell, fc.grid, 300);
    s.stress = true;
    std::vector<common_var> runs;
    std::vector<periodic_evaluation> results;
    for (int t : {1, 3}) {
      omp_set_num_threads(t);
      runs.push_back(molecule(fc.atoms));
      results.push_back(evaluate_periodic(runs.back(), m.par, s, *m.solver));
    }
    omp_set_num_threads(threads);
    EXPECT_EQ(results[0].free_energy, results[1].free_energy) << fc.name;
    EXPECT_EQ(results[0].strain_derivative, results[1].strain_derivative) << fc.name;
    EXPECT_EQ(results[0].charges, results[1].charges) << fc.name;
    EXPECT_EQ(runs[0].fx, runs[1].fx) << fc.name;
    EXPECT_EQ(runs[0].fz, runs[1].fz) << fc.name;
  }
}
#endif

TEST(PeriodicEvaluation, RefusesCoincidentImagesAndTooSmallCells) {
  test_model m;
  struct bad {
    periodic_cell cell;
    std::vector<atom> atoms;
    const char* message;
  };
  const std::vector<bad> cases = {
      {cell_of({2, 0, 0}, {0, 9, 0}, {0, 0, 9}, {true, false, false}),
       {{'C', {0, 0, 0}}, {'C', {2, 0, 0}}},
       "atom 1 coincides with an image of atom 2"},
      {cell_of({0.01, 0, 0}, {0, 0.01, 0}, {0, 0, 0.01}, {true, true, true}), {{'H', {0, 0, 0}}}, "too small"},
  };
  for (const bad& b : cases) {
    common_var c = molecule(b.atoms);
    try {
      evaluate_periodic(c, m.par, settings(b.cell, {1, 1, 1}, 0), *m.solver);
      ADD_FAILURE() << b.message;
    } catch (const input_rejected& e) {
      EXPECT_NE(std::string(e.what()).find(b.message), std::string::npos) << e.what();
    }
  }
}

}  // namespace
}  // namespace tbrelax
