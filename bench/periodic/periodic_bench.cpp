// tbrelax_bench_periodic: timings of the periodic model, side by side in one run (not a test).
//   graphene supercell at Gamma against a molecular flake of about the same basis size;
//   many small k-points on one thread against all threads;
//   and the consistency pairs: supercell at Gamma against the primitive cell on the matching
//   grid, water in a 30 angstrom box against the free molecule.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>
#ifdef _OPENMP
#include <omp.h>
#else
inline int omp_get_max_threads() { return 1; }
inline void omp_set_num_threads(int) {}
#endif

#include "bench/molecules.hpp"
#include "driver/model_session.hpp"
#include "tb/force.hpp"
#include "tb/periodic_evaluation.hpp"

namespace tbrelax {
namespace {

using vec3 = std::array<double, 3>;

double seconds(const std::function<void()>& work, int repeats = 1) {
  double best = INFINITY;
  for (int r = 0; r < repeats; ++r) {
    const auto start = std::chrono::steady_clock::now();
    work();
    best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  return best;
}

const double side = 2.46;
periodic_cell graphene_cell(int m) {
  return {{vec3{m * side, 0, 0}, vec3{-0.5 * m * side, 0.5 * std::sqrt(3.0) * m * side, 0}, vec3{0, 0, 20}},
          {true, true, false}};
}
common_var graphene(int m) {
  std::vector<std::int32_t> types;
  std::vector<vec3> r;
  const vec3 a1{side, 0, 0}, a2{-0.5 * side, 0.5 * std::sqrt(3.0) * side, 0};
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < m; ++j)
      for (auto [u, v] : {std::pair{1.0 / 3, 2.0 / 3}, std::pair{2.0 / 3, 1.0 / 3}}) {
        types.push_back(2);
        r.push_back({(i + u) * a1[0] + (j + v) * a2[0], (i + u) * a1[1] + (j + v) * a2[1], 0});
      }
  common_var c;
  load_molecule(c, types, r);
  return c;
}

periodic_settings settings(const periodic_cell& cell, std::array<int, 3> grid, double T) {
  return {cell, kpoint_grid(cell, grid), T};
}

void gamma_against_flake(model_session& s) {
  common_var sheet = graphene(14);
  const auto near = bench::molecule_near("flake", sheet.wfunc_count);  // a flake of about the same n
  common_var flake;
  load_molecule(flake, near.types, near.positions);
  const periodic_settings gamma = settings(graphene_cell(14), {1, 1, 1}, 0);
  const double periodic = seconds([&] { evaluate_periodic(sheet, s.par, gamma, *s.solver); }, 2);
  const double molecular = seconds([&] { force(flake, s.model); }, 2);
  std::printf("Gamma, graphene 14 x 14 (n = %d): %.3f s; flake %s (n = %d): %.3f s; ratio %.2f\n", sheet.wfunc_count,
              periodic, near.formula.c_str(), flake.wfunc_count, molecular, periodic / molecular);
}

void threads_on_many_kpoints(model_session& s) {
  const int all = omp_get_max_threads();
  for (auto [m, n] : {std::pair{1, 48}, std::pair{3, 16}}) {
    common_var c = graphene(m);
    const periodic_settings grid = settings(graphene_cell(m), {n, n, 1}, 300);
    omp_set_num_threads(1);
    const double one = seconds([&] { evaluate_periodic(c, s.par, grid, *s.solver); }, 2);
    omp_set_num_threads(all);
    const double many = seconds([&] { evaluate_periodic(c, s.par, grid, *s.solver); }, 2);
    std::printf("%d atoms on %d x %d k-points: 1 thread %.3f s, %d threads %.3f s: speed-up %.2f\n", c.at_count, n, n,
                one, all, many, one / many);
  }
}

void consistency(model_session& s) {
  common_var big = graphene(3), small = graphene(1);
  const double super = evaluate_periodic(big, s.par, settings(graphene_cell(3), {1, 1, 1}, 300), *s.solver).energy;
  const double prim = evaluate_periodic(small, s.par, settings(graphene_cell(1), {3, 3, 1}, 300), *s.solver).energy;
  std::printf("3 x 3 supercell at Gamma against the 2-atom cell on 3 x 3 at 300 K: %.1e eV/atom\n",
              std::abs(super / 18 - prim / 2));
  const std::vector<std::int32_t> types{4, 1, 1};
  const std::vector<vec3> r{{0, 0, 0.117}, {0, 0.757, -0.467}, {0, -0.757, -0.467}};
  common_var free, boxed;
  load_molecule(free, types, r);
  load_molecule(boxed, types, r);
  const double molecule = force(free, s.model);
  const periodic_cell box{{vec3{30, 0, 0}, vec3{0, 30, 0}, vec3{0, 0, 30}}, {true, true, true}};
  const double in_box = evaluate_periodic(boxed, s.par, settings(box, {1, 1, 1}, 0), *s.solver).energy;
  std::printf("water in a 30 A box at Gamma, T = 0, against the molecule: %.1e eV\n", std::abs(in_box - molecule));
}

}  // namespace
}  // namespace tbrelax

int main() {
  tbrelax::model_session s;
  std::printf("threads: %d, solver: %s\n", omp_get_max_threads(), s.solver->name().c_str());
  tbrelax::consistency(s);
  tbrelax::threads_on_many_kpoints(s);
  tbrelax::gamma_against_flake(s);
}
