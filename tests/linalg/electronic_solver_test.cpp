#include "linalg/electronic_solver.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "linalg/eigen_test_support.hpp"
#include "linalg/eigensolver.hpp"
#include "support/molecules.hpp"
#include "tb/assembly.hpp"

namespace tbrelax {
namespace {

using testing::max_difference;
using testing::naive_product;
using testing::transposed;

double trace_of_product(const matrix& a, const matrix& b) {
  double t = 0;
  for (int i = 0; i < a.rows(); ++i)
    for (int k = 0; k < a.cols(); ++k) t += a(i, k) * b(k, i);
  return t;
}

// Eigenvalues ascending and eigenvectors in v by the QL eigensolver, whose residuals and
// orthogonality are checked on their own: the oracle for the Cholesky route's orbital energies.
std::vector<double> eigen(const matrix& a, matrix& v) {
  const int n = a.rows();
  std::vector<double> d(n), e(n);
  int ierr = 0;
  v = a;
  eisrs1(n, n, d.data(), v.data(), ierr, e.data());
  return d;
}

// Orbital energies of H c = eps |S| c, with |S| the overlap with its eigenvalues made positive.
std::vector<double> reference_energies(const matrix& H, const matrix& S) {
  matrix u, y;
  const std::vector<double> s = eigen(S, u);
  for (int k = 0; k < u.cols(); ++k)
    for (int i = 0; i < u.rows(); ++i) u(i, k) /= std::sqrt(std::abs(s[k]));
  return eigen(naive_product(transposed(u), naive_product(H, u)), y);
}

struct problem {
  std::string name;
  matrix H, S;
  int electrons;
};

std::vector<problem> molecular_problems() {
  // The methyl radical has an odd electron: its last orbital holds one.
  const std::vector<testing::atom> methyl{{'C', {0, 0, 0}}, {'H', {1.08, 0, 0}}, {'H', {-0.54, 0.935, 0}},
                                          {'H', {-0.54, -0.935, 0}}};
  std::vector<problem> list;
  for (const auto& [name, atoms] : std::vector<std::pair<std::string, std::vector<testing::atom>>>{
           {"water", testing::water_atoms()}, {"formaldehyde", testing::formaldehyde_atoms()},
           {"benzene", testing::benzene_atoms()}, {"methyl", methyl}}) {
    testing::test_model m;
    const common_var c = testing::molecule(atoms);
    problem& p = list.emplace_back(problem{name, matrix(c.wfunc_count), matrix(c.wfunc_count), c.el_count});
    assemble_overlap(all_atoms, c, m.par, p.S);
    assemble_hamiltonian(all_atoms, c, m.par, p.S, p.H);
  }
  return list;
}

std::vector<std::unique_ptr<electronic_solver>> solvers() {
  std::vector<std::unique_ptr<electronic_solver>> list;
  for (const std::string& name : available_solvers())
    if (auto s = make_solver(name)) list.push_back(std::move(s));
  return list;
}

// Orbital energies against an independent eigensolver. With C^T S C = I and H C = S C E:
// tr(P S) counts the electrons, H P = S W, tr(P H) = tr(W S) is the band energy, and a closed
// shell's P S P = 2 P.
TEST(ElectronicSolver, MolecularProblemsObeyTheGeneralisedEigenproblem) {
  for (const problem& p : molecular_problems()) {
    const std::vector<double> expected = reference_energies(p.H, p.S);
    for (auto& solver : solvers()) {
      SCOPED_TRACE(solver->name() + " " + p.name);
      electronic_result r;
      solver->solve(p.H, p.S, p.electrons, r);
      ASSERT_EQ(r.eps.size(), expected.size());
      EXPECT_TRUE(std::is_sorted(r.eps.begin(), r.eps.end()));
      for (std::size_t k = 0; k < expected.size(); ++k) EXPECT_NEAR(r.eps[k], expected[k], 1e-10) << k;
      EXPECT_TRUE(r.negative_overlaps.empty());
      EXPECT_EQ(r.route, electronic_route::cholesky);
      EXPECT_NEAR(trace_of_product(r.P, p.S), p.electrons, 1e-10);
      EXPECT_LT(max_difference(naive_product(p.H, r.P), naive_product(p.S, r.W)), 1e-10);
      double band = 0;
      for (int k = 0; k < occupied_count(p.electrons); ++k) band += occupation(k, p.electrons) * r.eps[k];
      EXPECT_NEAR(trace_of_product(r.P, p.H), band, 1e-9);
      EXPECT_NEAR(trace_of_product(r.W, p.S), band, 1e-9);
      EXPECT_EQ(r.P, transposed(r.P));
      EXPECT_EQ(r.W, transposed(r.W));
      if (p.electrons % 2 == 0) {
        matrix twice = r.P;
        for (std::size_t i = 0; i < twice.size(); ++i) twice.data()[i] *= 2;
        EXPECT_LT(max_difference(naive_product(r.P, naive_product(p.S, r.P)), twice), 1e-10);
      }
    }
  }
}

// An overlap with two negative eigenvalues: both are reported, ascending, with their positions
// from 1, and the solution is that of the overlap with their magnitudes.
TEST(ElectronicSolver, NegativeOverlapEigenvaluesAreReportedAndTheirMagnitudesUsed) {
  const std::vector<double> s{-0.7, -0.2, 0.3, 0.6, 0.9, 1.2, 1.7, 2.5};
  std::vector<double> magnitudes = s;
  for (double& v : magnitudes) v = std::abs(v);
  const auto signed_problem = testing::problem_with_overlap_spectrum(s, 5);
  const auto magnitude_problem = testing::problem_with_overlap_spectrum(magnitudes, 5);
  for (auto& solver : solvers()) {
    SCOPED_TRACE(solver->name());
    electronic_result a, b;
    solver->solve(signed_problem.H, signed_problem.S, 6, a);
    solver->solve(magnitude_problem.H, magnitude_problem.S, 6, b);
    ASSERT_EQ(a.negative_overlaps.size(), 2u);
    EXPECT_EQ(a.route, electronic_route::canonical);
    EXPECT_EQ(b.route, electronic_route::cholesky);
    EXPECT_EQ(a.negative_overlaps[0].index, 1);
    EXPECT_NEAR(a.negative_overlaps[0].value, -0.7, 1e-13);
    EXPECT_EQ(a.negative_overlaps[1].index, 2);
    EXPECT_NEAR(a.negative_overlaps[1].value, -0.2, 1e-13);
    EXPECT_TRUE(b.negative_overlaps.empty());
    for (std::size_t k = 0; k < s.size(); ++k) EXPECT_NEAR(a.eps[k], b.eps[k], 1e-11);
    EXPECT_LT(max_difference(a.P, b.P), 1e-10);
    EXPECT_LT(max_difference(a.W, b.W), 1e-10);
  }
}

}  // namespace
}  // namespace tbrelax
