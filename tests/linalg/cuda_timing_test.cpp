// Timings of the GPU path on hydrogen-terminated graphene-like flakes, checked against the
// performance goals of the GPU build. They run only on request, on a machine with a device:
//   TBRELAX_GPU_TIMING=1 tests/test_linalg --gtest_filter='CudaTiming.*'
// and print their figures.

#ifdef TBRELAX_HAVE_CUDA

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "linalg/backends/cuda/cuda_solver.hpp"
#include "support/molecules.hpp"
#include "tb/assembly.hpp"

namespace tbrelax {
namespace {

using testing::atom;
using testing::molecule;
using testing::test_model;

#define SKIP_UNLESS_TIMING()                                                             \
  do {                                                                                   \
    const std::string problem = cuda_device_problem();                                   \
    if (!problem.empty()) GTEST_SKIP() << problem;                                       \
    if (!std::getenv("TBRELAX_GPU_TIMING")) GTEST_SKIP() << "set TBRELAX_GPU_TIMING=1"; \
  } while (false)

double seconds_since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The carbons of a honeycomb lattice (C-C 1.42 angstrom) within `radius` of a point off every
// symmetry element, without the carbons left with a single neighbour; every carbon with two
// neighbours gets a hydrogen at 1.09 angstrom, pointing away from them.
std::vector<atom> graphene_flake(double radius) {
  const double a = 1.42, s3 = std::sqrt(3.0);
  const double cx = 0.31, cy = 0.17;
  std::vector<std::array<double, 3>> carbons;
  const int span = int(radius / a) + 2;
  for (int i = -span; i <= span; ++i)
    for (int j = -span; j <= span; ++j)
      for (double offset : {0.0, a}) {
        const double x = a * s3 * (i + 0.5 * j), y = 1.5 * a * j + offset;
        if (std::hypot(x - cx, y - cy) <= radius) carbons.push_back({x, y, 0});
      }
  auto neighbours = [&](std::size_t c) {
    std::vector<std::size_t> list;
    for (std::size_t d = 0; d < carbons.size(); ++d)
      if (d != c && std::hypot(carbons[d][0] - carbons[c][0], carbons[d][1] - carbons[c][1]) < 1.1 * a) list.push_back(d);
    return list;
  };
  for (bool removed = true; removed;) {
    std::vector<std::array<double, 3>> kept;
    for (std::size_t c = 0; c < carbons.size(); ++c)
      if (neighbours(c).size() >= 2) kept.push_back(carbons[c]);
    removed = kept.size() < carbons.size();
    carbons = std::move(kept);
  }
  std::vector<atom> atoms;
  for (std::size_t c = 0; c < carbons.size(); ++c) {
    atoms.push_back({'C', carbons[c]});
    const auto list = neighbours(c);
    if (list.size() != 2) continue;
    double dx = 2 * carbons[c][0] - carbons[list[0]][0] - carbons[list[1]][0];
    double dy = 2 * carbons[c][1] - carbons[list[0]][1] - carbons[list[1]][1];
    const double length = std::hypot(dx, dy);
    atoms.push_back({'H', {carbons[c][0] + 1.09 * dx / length, carbons[c][1] + 1.09 * dy / length, 0}});
  }
  return atoms;
}

// The smallest such flake with at least `basis` basis functions, starting from a radius that
// gives somewhat fewer (a carbon and its share of hydrogens bring about 4.3 functions and take
// 2.62 square angstrom).
common_var flake_with_basis(int basis) {
  for (double radius = std::max(3.0, std::sqrt(basis / 4.3 * 2.62 / 3.14159) - 2);; radius += 0.2) {
    common_var c = molecule(graphene_flake(radius));
    if (c.wfunc_count >= basis) return c;
  }
}

struct solve_timing {
  double wall = 0;     // the whole solve, transfers included
  double kernels = 0;  // eigendecompositions, products and densities on the device
};

// The fastest of `repeats` solves after one warm-up (which allocates the device buffers).
solve_timing time_solve(electronic_solver& solver, const matrix& H, const matrix& S, int electrons, int repeats) {
  electronic_result out;
  solver.solve(H, S, electrons, out);
  solve_timing best{1e300, 0};
  for (int r = 0; r < repeats; ++r) {
    const auto start = std::chrono::steady_clock::now();
    solver.solve(H, S, electrons, out);
    const double wall = seconds_since(start);
    if (wall < best.wall) best = {wall, out.timings.eigen + out.timings.products + out.timings.densities};
  }
  return best;
}

struct assembled {
  common_var c;
  matrix S, H;
};

assembled assemble(int basis, const test_model& m) {
  assembled a{flake_with_basis(basis), {}, {}};
  a.S = matrix(a.c.wfunc_count);
  a.H = matrix(a.c.wfunc_count);
  assemble_overlap(all_atoms, a.c, m.par, a.S);
  assemble_hamiltonian(all_atoms, a.c, m.par, a.S, a.H);
  return a;
}

TEST(CudaTiming, SolveWithinOneAndAHalfKernelSums) {
  SKIP_UNLESS_TIMING();
  test_model m(make_solver("cuda"));
  for (int basis : {3200, 6400}) {
    const assembled a = assemble(basis, m);
    const solve_timing t = time_solve(m.model.solver, a.H, a.S, a.c.el_count, 3);
    std::printf("n = %d: solve %.3f s, kernels %.3f s, ratio %.2f\n", a.c.wfunc_count, t.wall, t.kernels,
                t.wall / t.kernels);
    if (basis == 3200) {
      EXPECT_LE(t.wall, 1.5 * t.kernels);
    } else {
      EXPECT_LT(t.wall, 1.5);
    }
  }
}

// Assembly, the displacement loop and the repulsion are threaded CPU code; on the GPU build
// they should stay a small part of an evaluation.
TEST(CudaTiming, EvaluationOutsideTheEigenproblem) {
  SKIP_UNLESS_TIMING();
  test_model m(make_solver("cuda"));
  common_var c = flake_with_basis(3200);
  force(c, m.model);  // warm-up
  evaluation_details d;
  const auto start = std::chrono::steady_clock::now();
  force(c, m.model, &d);
  const double total = seconds_since(start);
  const double outside = d.assembly_seconds + d.displacement_seconds + d.repulsion_seconds;
  const double kernels = d.solver.eigen + d.solver.products + d.solver.densities;
  std::printf("n = %d, %d atoms: evaluation %.3f s; assembly %.3f, displacements %.3f, repulsion %.3f, "
              "device kernels %.3f (evaluation / kernels %.2f, outside share %.1f%%)\n",
              c.wfunc_count, c.at_count, total, d.assembly_seconds, d.displacement_seconds, d.repulsion_seconds,
              kernels, total / kernels, 100 * outside / total);
  EXPECT_LT(outside, 0.2 * total);
}

// Where the GPU overtakes the CPU solver of this build: the basis size to set as
// TBRELAX_GPU_MIN_BASIS (and, measured on the target machines, as the built-in default).
TEST(CudaTiming, Crossover) {
  SKIP_UNLESS_TIMING();
  const auto names = available_solvers();
  const std::string cpu_name = std::find(names.begin(), names.end(), "lapack") != names.end() ? "lapack" : "own";
  test_model m(make_solver("cuda"));
  auto cpu = make_solver(cpu_name);
  int crossover = -1, faster_in_a_row = 0;
  for (int basis : {100, 150, 200, 300, 400, 600, 800, 1200, 1600}) {
    const assembled a = assemble(basis, m);
    const double gpu = time_solve(m.model.solver, a.H, a.S, a.c.el_count, 3).wall;
    const double host = time_solve(*cpu, a.H, a.S, a.c.el_count, 1).wall;
    std::printf("n = %5d: cuda %.4f s, %s %.4f s\n", a.c.wfunc_count, gpu, cpu_name.c_str(), host);
    if (gpu < host) {
      if (faster_in_a_row++ == 0) crossover = a.c.wfunc_count;
      if (faster_in_a_row == 2) break;
    } else {
      faster_in_a_row = 0;
      crossover = -1;
    }
  }
  std::printf("GPU faster from n = %d (default threshold %d)\n", crossover, default_gpu_min_basis);
  EXPECT_GT(crossover, 0) << "the GPU never overtook " << cpu_name;
}

}  // namespace
}  // namespace tbrelax

#endif  // TBRELAX_HAVE_CUDA
