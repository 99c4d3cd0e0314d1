// Measurements behind the mechanics page of the manual: the cost of the stress beside one
// evaluation of a graphene supercell of about 1500 basis functions at Gamma, and the
// evaluations that relax --cell needs from 3% off the model's lattice constant.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>
#include <random>

#include "driver/cell_relaxation.hpp"
#include "driver/model_session.hpp"
#include "params/read_param.hpp"
#include "state/element.hpp"
#include "tb/kpoint_grid.hpp"

namespace {

using namespace tbrelax;
using vec3 = std::array<double, 3>;

struct structure {
  periodic_cell cell;
  std::vector<std::int32_t> types;
  std::vector<vec3> r;
  std::array<int, 3> grid;
};

common_var state_of(const structure& s) {
  common_var c;
  load_molecule(c, s.types, s.r, "bench");
  param par;
  drive drv;
  read_param(par, drv, c);
  return c;
}

// An m x m graphene supercell (side 2.46 s per primitive cell, 20 A of vacuum).
structure graphene(int m, double s) {
  const double a = 2.46 * s, h = 0.5 * std::sqrt(3.0) * a;
  structure g{{{vec3{m * a, 0, 0}, vec3{-0.5 * m * a, m * h, 0}, vec3{0, 0, 20}}, {true, true, false}}, {}, {}, {12 / m, 12 / m, 1}};
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < m; ++j)
      for (const vec3 f : {vec3{1.0 / 3, 2.0 / 3, 0}, vec3{2.0 / 3, 1.0 / 3, 0}}) {
        const double u = i + f[0], v = j + f[1];
        g.types.push_back(*element_from_symbol('C'));
        g.r.push_back({u * a - 0.5 * v * a, v * h, 0});
      }
  if (g.grid[0] < 1) g.grid = {1, 1, 1};
  return g;
}

structure primitive_graphene(double s) { return graphene(1, s); }

structure diamond(double s) {
  const double a = 3.567 * s;
  structure d{{{vec3{a, 0, 0}, vec3{0, a, 0}, vec3{0, 0, a}}, {true, true, true}}, {}, {}, {4, 4, 4}};
  const double base[4][3] = {{0, 0, 0}, {0, 0.5, 0.5}, {0.5, 0, 0.5}, {0.5, 0.5, 0}};
  for (const auto& b : base)
    for (double shift : {0.0, 0.25}) {
      d.types.push_back(*element_from_symbol('C'));
      d.r.push_back({(b[0] + shift) * a, (b[1] + shift) * a, (b[2] + shift) * a});
    }
  return d;
}

double seconds_of(const std::function<void()>& work, int repeats) {
  double best = 1e300;
  for (int k = 0; k < repeats; ++k) {
    const auto start = std::chrono::steady_clock::now();
    work();
    best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  return best;
}

void stress_cost(int m, int repeats) {
  model_session session;
  const structure g = graphene(m, 1.0);
  common_var c = state_of(g);
  periodic_settings with{g.cell, kpoint_grid(g.cell, {1, 1, 1}), 0};
  periodic_settings without = with;
  without.stress = false;
  // Alternated, the best of each: the machine's other load touches both alike.
  double t_without = 1e300, t_with = 1e300;
  for (int k = 0; k < repeats; ++k) {
    t_without = std::min(t_without, seconds_of([&] { evaluate_periodic(c, session.par, without, *session.solver); }, 1));
    t_with = std::min(t_with, seconds_of([&] { evaluate_periodic(c, session.par, with, *session.solver); }, 1));
  }
  std::printf("stress cost: graphene %dx%d, %d atoms, n = %d at Gamma: evaluation %.3f s, with stress %.3f s, "
              "stress/evaluation = %.3f\n",
              m, m, c.at_count, c.wfunc_count, t_without, t_with, (t_with - t_without) / t_without);
}

void cell_relaxation(const char* name, structure (*make)(double), double side, bool rattle) {
  model_session session;
  structure s = make(1.03);
  if (rattle) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> shake(-0.03, 0.03);
    for (vec3& r : s.r)
      for (double& q : r) q += shake(random);
  }
  common_var c = state_of(s);
  const periodic_model model{session.par, *session.solver, {s.cell, kpoint_grid(s.cell, s.grid), 300}};
  cell_relaxation_settings settings;
  settings.free = periodic_components(s.cell);
  settings.fmax = 1e-3;
  const cell_relaxation_result r = relax_with_cell(c, model, settings);
  const double length = std::hypot(r.cell.a[0][0], r.cell.a[0][1], r.cell.a[0][2]);
  std::printf("relax --cell: %s from 3%% off%s: a = %.6f A (start %.4f), %lld evaluations, %d steps, %s\n", name,
              rattle ? ", atoms rattled by up to 0.03 A" : "", length, side * 1.03, (long long)r.evaluations, r.steps,
              r.reason == stop_reason::converged ? "converged" : "not converged");
}

}  // namespace

int main(int argc, char** argv) {
  const int m = argc > 1 ? std::atoi(argv[1]) : 14;
  const int repeats = argc > 2 ? std::atoi(argv[2]) : 3;
  stress_cost(m, repeats);
  cell_relaxation("graphene (2 atoms, 12x12 k)", primitive_graphene, 2.46, false);
  cell_relaxation("graphene (2 atoms, 12x12 k)", primitive_graphene, 2.46, true);
  cell_relaxation("diamond (8 atoms, 4x4x4 k)", diamond, 3.567, false);
  cell_relaxation("diamond (8 atoms, 4x4x4 k)", diamond, 3.567, true);
}
