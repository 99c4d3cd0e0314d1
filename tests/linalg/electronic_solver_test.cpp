#include "linalg/electronic_solver.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "support/molecules.hpp"
#include "tb/assembly.hpp"

namespace tbrelax {
namespace {

matrix product(const matrix& a, const matrix& b) {
  matrix c(a.rows(), b.cols());
  for (int j = 0; j < b.cols(); ++j)
    for (int k = 0; k < a.cols(); ++k)
      for (int i = 0; i < a.rows(); ++i) c(i, j) += a(i, k) * b(k, j);
  return c;
}

matrix transposed(const matrix& a) {
  matrix t(a.cols(), a.rows());
  for (int j = 0; j < a.cols(); ++j)
    for (int i = 0; i < a.rows(); ++i) t(j, i) = a(i, j);
  return t;
}

double max_difference(const matrix& a, const matrix& b) {
  double worst = 0;
  for (std::size_t i = 0; i < a.size(); ++i) worst = std::max(worst, std::abs(a.data()[i] - b.data()[i]));
  return worst;
}

double trace_of_product(const matrix& a, const matrix& b) {
  double t = 0;
  for (int i = 0; i < a.rows(); ++i)
    for (int k = 0; k < a.cols(); ++k) t += a(i, k) * b(k, i);
  return t;
}

// Cyclic Jacobi rotations: an eigensolver independent of every one under test. Returns the
// eigenvalues ascending with the eigenvectors in the matching columns of v.
std::vector<double> jacobi(matrix a, matrix& v) {
  const int n = a.rows();
  v = matrix(n, n);
  for (int i = 0; i < n; ++i) v(i, i) = 1;
  for (int sweep = 0; sweep < 100; ++sweep) {
    double off = 0;
    for (int q = 0; q < n; ++q)
      for (int p = 0; p < q; ++p) off += a(p, q) * a(p, q);
    if (off < 1e-30) break;
    for (int q = 0; q < n; ++q)
      for (int p = 0; p < q; ++p) {
        if (a(p, q) == 0) continue;
        const double theta = (a(q, q) - a(p, p)) / (2 * a(p, q));
        const double t = std::copysign(1.0, theta) / (std::abs(theta) + std::sqrt(theta * theta + 1));
        const double c = 1 / std::sqrt(t * t + 1), s = t * c;
        for (int k = 0; k < n; ++k) {
          const double akp = a(k, p), akq = a(k, q);
          a(k, p) = c * akp - s * akq;
          a(k, q) = s * akp + c * akq;
        }
        for (int k = 0; k < n; ++k) {
          const double apk = a(p, k), aqk = a(q, k);
          a(p, k) = c * apk - s * aqk;
          a(q, k) = s * apk + c * aqk;
        }
        for (int k = 0; k < n; ++k) {
          const double vkp = v(k, p), vkq = v(k, q);
          v(k, p) = c * vkp - s * vkq;
          v(k, q) = s * vkp + c * vkq;
        }
      }
  }
  std::vector<int> order(n);
  std::iota(order.begin(), order.end(), 0);
  std::sort(order.begin(), order.end(), [&](int i, int j) { return a(i, i) < a(j, j); });
  std::vector<double> values(n);
  matrix sorted(n, n);
  for (int k = 0; k < n; ++k) {
    values[k] = a(order[k], order[k]);
    for (int i = 0; i < n; ++i) sorted(i, k) = v(i, order[k]);
  }
  v = sorted;
  return values;
}

// Orbital energies of H c = eps |S| c, with |S| the overlap with its eigenvalues made positive.
std::vector<double> reference_energies(const matrix& H, const matrix& S) {
  matrix u, y;
  const std::vector<double> s = jacobi(S, u);
  matrix x = u;
  for (int k = 0; k < x.cols(); ++k)
    for (int i = 0; i < x.rows(); ++i) x(i, k) /= std::sqrt(std::abs(s[k]));
  return jacobi(product(transposed(x), product(H, x)), y);
}

struct problem {
  std::string name;
  matrix H, S;
  int electrons;
};

problem molecular_problem(const std::string& name, const std::vector<testing::atom>& atoms) {
  testing::test_model m;
  const common_var c = testing::molecule(atoms);
  problem p{name, matrix(c.wfunc_count), matrix(c.wfunc_count), c.el_count};
  assemble_overlap(all_atoms, c, m.par, p.S);
  assemble_hamiltonian(all_atoms, c, m.par, p.S, p.H);
  return p;
}

std::vector<problem> molecular_problems() {
  // The methyl radical has an odd electron: its last orbital holds one.
  const std::vector<testing::atom> methyl{{'C', {0, 0, 0}}, {'H', {1.08, 0, 0}}, {'H', {-0.54, 0.935, 0}},
                                          {'H', {-0.54, -0.935, 0}}};
  return {molecular_problem("water", testing::water_atoms()),
          molecular_problem("formaldehyde", testing::formaldehyde_atoms()),
          molecular_problem("benzene", testing::benzene_atoms()), molecular_problem("methyl", methyl)};
}

std::vector<std::unique_ptr<electronic_solver>> solvers() {
  std::vector<std::unique_ptr<electronic_solver>> list;
  for (const std::string& name : available_solvers())
    if (auto s = make_solver(name)) list.push_back(std::move(s));
  return list;
}

TEST(ElectronicSolver, OrbitalEnergiesMatchAnIndependentEigensolver) {
  for (const problem& p : molecular_problems()) {
    const std::vector<double> expected = reference_energies(p.H, p.S);
    for (auto& solver : solvers()) {
      electronic_result r;
      solver->solve(p.H, p.S, p.electrons, r);
      ASSERT_EQ(r.eps.size(), expected.size());
      EXPECT_TRUE(std::is_sorted(r.eps.begin(), r.eps.end())) << solver->name() << " " << p.name;
      for (std::size_t k = 0; k < expected.size(); ++k)
        EXPECT_NEAR(r.eps[k], expected[k], 1e-10) << solver->name() << " " << p.name << " orbital " << k;
      EXPECT_TRUE(r.negative_overlaps.empty());
      EXPECT_EQ(r.route, electronic_route::cholesky);
    }
  }
}

// With C^T S C = I and H C = S C E: tr(P S) counts the electrons, H P = S W, tr(P H) = tr(W S)
// is the band energy, and a closed shell's P S P = 2 P.
TEST(ElectronicSolver, DensitiesObeyTheGeneralisedEigenproblem) {
  for (const problem& p : molecular_problems()) {
    for (auto& solver : solvers()) {
      const std::string where = solver->name() + " " + p.name;
      electronic_result r;
      solver->solve(p.H, p.S, p.electrons, r);
      EXPECT_NEAR(trace_of_product(r.P, p.S), p.electrons, 1e-10) << where;
      EXPECT_LT(max_difference(product(p.H, r.P), product(p.S, r.W)), 1e-10) << where;
      double band = 0;
      for (int k = 0; k < occupied_count(p.electrons); ++k) band += occupation(k, p.electrons) * r.eps[k];
      EXPECT_NEAR(trace_of_product(r.P, p.H), band, 1e-9) << where;
      EXPECT_NEAR(trace_of_product(r.W, p.S), band, 1e-9) << where;
      EXPECT_EQ(r.P, transposed(r.P)) << where;
      EXPECT_EQ(r.W, transposed(r.W)) << where;
      if (p.electrons % 2 == 0) {
        matrix twice = r.P;
        for (std::size_t i = 0; i < twice.size(); ++i) twice.data()[i] *= 2;
        EXPECT_LT(max_difference(product(r.P, product(p.S, r.P)), twice), 1e-10) << where;
      }
    }
  }
}

TEST(ElectronicSolver, UnitOverlapGivesTheEigenvaluesOfH) {
  const int n = 23;
  std::mt19937 rng(3);
  std::uniform_real_distribution<double> u(-1, 1);
  matrix H(n), I(n);
  for (int j = 0; j < n; ++j) {
    I(j, j) = 1;
    for (int i = 0; i <= j; ++i) H(i, j) = H(j, i) = u(rng);
  }
  matrix v;
  const std::vector<double> expected = jacobi(H, v);
  for (auto& solver : solvers()) {
    electronic_result r;
    solver->solve(H, I, 12, r);
    for (int k = 0; k < n; ++k) EXPECT_NEAR(r.eps[k], expected[k], 1e-12) << solver->name();
    // Orthonormal orbitals: P / 2 projects onto the six lowest.
    matrix half = r.P;
    for (std::size_t i = 0; i < half.size(); ++i) half.data()[i] /= 2;
    EXPECT_LT(max_difference(product(half, half), half), 1e-12) << solver->name();
    EXPECT_NEAR(trace_of_product(half, I), 6, 1e-12) << solver->name();
  }
}

// S = Q diag(s) Q^T with two negative eigenvalues: both are reported, ascending, with their
// positions from 1, and the solution is that of Q diag(|s|) Q^T.
TEST(ElectronicSolver, NegativeOverlapEigenvaluesAreReportedAndTheirMagnitudesUsed) {
  const int n = 8;
  const std::vector<double> s{-0.7, -0.2, 0.3, 0.6, 0.9, 1.2, 1.7, 2.5};
  std::vector<double> w(n);
  for (int i = 0; i < n; ++i) w[i] = 1.0 + 0.37 * i - 0.05 * i * i;
  const double ww = std::inner_product(w.begin(), w.end(), w.begin(), 0.0);
  matrix Q(n);  // a Householder reflection, exactly orthogonal up to rounding
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) Q(i, j) = (i == j ? 1.0 : 0.0) - 2 * w[i] * w[j] / ww;
  auto overlap = [&](bool magnitudes) {
    matrix D(n);
    for (int k = 0; k < n; ++k) D(k, k) = magnitudes ? std::abs(s[k]) : s[k];
    return product(Q, product(D, transposed(Q)));
  };
  matrix H(n);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) H(i, j) = -10.0 / (1 + std::abs(i - j)) + (i == j ? 0.5 * i : 0.0);

  for (auto& solver : solvers()) {
    electronic_result signed_result, magnitude_result;
    solver->solve(H, overlap(false), 6, signed_result);
    solver->solve(H, overlap(true), 6, magnitude_result);
    ASSERT_EQ(signed_result.negative_overlaps.size(), 2u) << solver->name();
    EXPECT_EQ(signed_result.route, electronic_route::canonical);
    EXPECT_EQ(magnitude_result.route, electronic_route::cholesky);
    EXPECT_EQ(signed_result.negative_overlaps[0].index, 1);
    EXPECT_NEAR(signed_result.negative_overlaps[0].value, -0.7, 1e-13);
    EXPECT_EQ(signed_result.negative_overlaps[1].index, 2);
    EXPECT_NEAR(signed_result.negative_overlaps[1].value, -0.2, 1e-13);
    EXPECT_TRUE(magnitude_result.negative_overlaps.empty());
    for (int k = 0; k < n; ++k) EXPECT_NEAR(signed_result.eps[k], magnitude_result.eps[k], 1e-11) << solver->name();
    EXPECT_LT(max_difference(signed_result.P, magnitude_result.P), 1e-10) << solver->name();
    EXPECT_LT(max_difference(signed_result.W, magnitude_result.W), 1e-10) << solver->name();
  }
}

}  // namespace
}  // namespace tbrelax
