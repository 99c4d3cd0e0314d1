// The GPU electronic solver against the CPU one, and the run-time fallback to the CPU. The tests
// that need a device skip without one; the fallback tests run everywhere in a CUDA build.

#ifdef TBRELAX_HAVE_CUDA

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "bench/molecules.hpp"
#include "linalg/backends/cuda/cuda_solver.hpp"
#include "linalg/eigen_test_support.hpp"
#include "support/molecules.hpp"

namespace tbrelax {
namespace {

using testing::molecule;
using testing::test_model;

#define SKIP_WITHOUT_DEVICE()                                        \
  do {                                                               \
    const std::string problem = cuda_device_problem();               \
    if (!problem.empty()) GTEST_SKIP() << problem;                   \
  } while (false)

// The CPU solver the default one falls back to in this build.
std::string cpu_solver_name() {
  const auto names = available_solvers();
  return std::find(names.begin(), names.end(), "lapack") != names.end() ? "lapack" : "own";
}

// Overlap eigenvalues: the given negative ones, then positive ones spread over [0.3, 2).
testing::generalised_problem random_problem(int n, std::uint64_t seed, std::vector<double> spectrum = {}) {
  for (int k = int(spectrum.size()); k < n; ++k) spectrum.push_back(0.3 + 1.7 * k / n);
  return testing::problem_with_overlap_spectrum(spectrum, seed);
}

// a against b: eigenvalues and densities within `tolerance` relative to their largest element
// (0: the same bits), P and W exactly symmetric, the negative overlap eigenvalues at the same
// positions.
void expect_agree(const electronic_result& a, const electronic_result& b, double tolerance) {
  auto close = [&](const auto& x, const auto& y) {
    ASSERT_EQ(x.size(), y.size());
    double worst = 0, scale = 1;
    for (std::size_t i = 0; i < y.size(); ++i) {
      worst = std::max(worst, std::abs(x.data()[i] - y.data()[i]));
      scale = std::max(scale, std::abs(y.data()[i]));
    }
    EXPECT_TRUE(tolerance > 0 ? worst / scale < tolerance : testing::same_bits(x.data(), y.data(), x.size()));
  };
  close(a.eps, b.eps);
  close(a.P, b.P);
  close(a.W, b.W);
  EXPECT_EQ(a.P, testing::transposed(a.P));
  EXPECT_EQ(a.W, testing::transposed(a.W));
  ASSERT_EQ(a.negative_overlaps.size(), b.negative_overlaps.size());
  for (std::size_t k = 0; k < b.negative_overlaps.size(); ++k) {
    EXPECT_EQ(a.negative_overlaps[k].index, b.negative_overlaps[k].index);
    EXPECT_NEAR(a.negative_overlaps[k].value, b.negative_overlaps[k].value, tolerance > 0 ? 1e-13 : 0.0);
  }
}

// ---- In every CUDA build, with or without a device ----

TEST(CudaFallback, SolverNamesAndThreshold) {
  const auto names = available_solvers();
  EXPECT_NE(std::find(names.begin(), names.end(), "cuda"), names.end());
  // By name the GPU solver exists exactly where a device is usable.
  const auto gpu = make_solver("cuda");
  EXPECT_EQ(gpu == nullptr, !cuda_device_problem().empty());
  if (gpu) {
    EXPECT_EQ(gpu->name(), "cuda");
  }
  EXPECT_EQ(make_default_solver()->name(), "cuda+" + cpu_solver_name());

  EXPECT_EQ(parse_gpu_min_basis(nullptr), default_gpu_min_basis);
  EXPECT_EQ(parse_gpu_min_basis(""), default_gpu_min_basis);
  EXPECT_EQ(parse_gpu_min_basis("0"), 0);
  EXPECT_EQ(parse_gpu_min_basis("1200"), 1200);
  for (const char* bad : {"-5", "abc", "12x", " 12", "1e3", "99999999999999"})
    EXPECT_EQ(parse_gpu_min_basis(bad), default_gpu_min_basis) << bad;
}

// Small molecules stay on the CPU whatever the machine: energy and forces bit for bit.
TEST(CudaFallback, DefaultSolverRepeatsTheCpuOnSmallMolecules) {
  for (const auto& atoms : {testing::water_atoms(), testing::benzene_atoms()}) {
    common_var a = molecule(atoms), b = a;
    ASSERT_LT(a.wfunc_count, default_gpu_min_basis);
    if (a.wfunc_count >= gpu_min_basis_from_environment() && cuda_device_problem().empty())
      GTEST_SKIP() << gpu_min_basis_variable << " sends this molecule to the GPU";
    test_model by_default, cpu(make_solver(cpu_solver_name()));
    EXPECT_EQ(force(a, by_default.model), force(b, cpu.model));
    EXPECT_TRUE(a.fx == b.fx && a.fy == b.fy && a.fz == b.fz);
  }
}

// The dispatcher sends problems from its threshold up to a usable device, and every other one,
// and all of them without a device, to its CPU solver, bit for bit.
TEST(CudaFallback, DispatcherSendsSizesFromItsThresholdToAUsableDevice) {
  const bool device = cuda_device_problem().empty();
  cuda_dispatch_solver solver(make_own_solver(), 20);
  auto own = make_own_solver();
  for (int n : {19, 20, 8, 30}) {
    const auto p = random_problem(n, 7 * n, {-0.02});
    electronic_result a, b;
    solver.solve(p.H, p.S, n + 1, a);
    own->solve(p.H, p.S, n + 1, b);
    const bool on_gpu = device && n >= 20;
    EXPECT_EQ(solver.last_solve_on_gpu(), on_gpu) << n;
    expect_agree(a, b, on_gpu ? 1e-10 : 0.0);
  }
  if (device) {
    EXPECT_EQ(solver.gpu_problem(), "");
  } else {
    EXPECT_TRUE(solver.gpu_problem().starts_with("no usable CUDA device: ")) << solver.gpu_problem();
  }
}

// ---- With a device ----

// One solver object through growing and shrinking sizes (its buffers are reused), odd and even
// and zero electron counts, and overlap matrices with negative eigenvalues.
TEST(CudaSolver, MatchesTheCpuOnGeneralisedProblems) {
  SKIP_WITHOUT_DEVICE();
  auto gpu = make_solver("cuda");
  auto cpu = make_solver(cpu_solver_name());
  struct item {
    int n, electrons;
    std::vector<double> negatives;
  };
  for (const item& c : std::vector<item>{{1, 1, {}}, {40, 40, {-0.2, -0.1}}, {130, 97, {}}, {7, 0, {}},
                                         {64, 128, {-0.3}}, {130, 130, {}}}) {
    SCOPED_TRACE("n = " + std::to_string(c.n) + ", electrons = " + std::to_string(c.electrons));
    const auto p = random_problem(c.n, 100 + c.n, c.negatives);
    electronic_result g, r;
    gpu->solve(p.H, p.S, c.electrons, g);
    cpu->solve(p.H, p.S, c.electrons, r);
    expect_agree(g, r, 1e-10);
    EXPECT_EQ(g.negative_overlaps.size(), c.negatives.size());
    EXPECT_GT(g.timings.eigen, 0);
  }
}

// Energy within 1e-9 eV and forces within 1e-7 eV/angstrom of the CPU path, on molecules whose
// highest occupied level is not degenerate (else the density depends on the eigenvectors chosen).
TEST(CudaSolver, EnergyAndForcesMatchTheCpu) {
  SKIP_WITHOUT_DEVICE();
  const auto alkane = testing::atoms_of(bench::alkane(12));
  for (const auto& atoms : {testing::water_atoms(), testing::formaldehyde_atoms(), testing::hcn_atoms(),
                            testing::bent_n2o_atoms(), alkane}) {
    common_var a = molecule(atoms), b = a;
    test_model gpu(make_solver("cuda")), cpu(make_solver(cpu_solver_name()));
    evaluation_details details;
    const double Eg = force(a, gpu.model), Ec = force(b, cpu.model, &details);
    const int homo = occupied_count(b.el_count) - 1;
    ASSERT_GT(details.eps[homo + 1] - details.eps[homo], 1e-3) << "degenerate frontier levels";
    EXPECT_NEAR(Eg, Ec, 1e-9) << atoms.size() << " atoms";
    for (int i = 0; i < a.at_count; ++i) {
      EXPECT_NEAR(a.fx[i], b.fx[i], 1e-7);
      EXPECT_NEAR(a.fy[i], b.fy[i], 1e-7);
      EXPECT_NEAR(a.fz[i], b.fz[i], 1e-7);
    }
    EXPECT_EQ(gpu.screen.str(), cpu.screen.str());
  }
}

}  // namespace
}  // namespace tbrelax

#endif  // TBRELAX_HAVE_CUDA
