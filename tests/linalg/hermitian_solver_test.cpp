#include "linalg/hermitian_solver.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <random>

#include "linalg/electronic_solver.hpp"
#include "state/errors.hpp"

namespace tbrelax {
namespace {

using complex = std::complex<double>;

complex_matrix product(const complex_matrix& A, const complex_matrix& B, bool adjoint_a = false) {
  const int m = adjoint_a ? A.cols() : A.rows(), k = adjoint_a ? A.rows() : A.cols();
  complex_matrix C(m, B.cols());
  for (int j = 0; j < B.cols(); ++j)
    for (int i = 0; i < m; ++i) {
      complex s = 0;
      for (int t = 0; t < k; ++t) s += (adjoint_a ? std::conj(A(t, i)) : A(i, t)) * B(t, j);
      C.set(i, j, s);
    }
  return C;
}

complex_matrix adjoint(const complex_matrix& A) {
  complex_matrix B(A.cols(), A.rows());
  for (int j = 0; j < A.cols(); ++j)
    for (int i = 0; i < A.rows(); ++i) B.set(j, i, std::conj(A(i, j)));
  return B;
}

// A random unitary-ish basis change L (well conditioned: identity plus a small random part).
complex_matrix random_basis(int n, std::mt19937& rng, double size) {
  std::uniform_real_distribution<double> u(-size, size);
  complex_matrix L(n);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) L.set(i, j, complex(u(rng), u(rng)) + (i == j ? 1.0 : 0.0));
  return L;
}

// H = L Q D Q^H L^H and S = L L^H with Q unitary (Gram-Schmidt of a random basis): the
// generalised eigenvalues are exactly D, with the multiplicities D gives.
struct problem {
  complex_matrix H, S;
};
problem with_eigenvalues(const std::vector<double>& d, unsigned seed, bool complex_entries = true) {
  const int n = int(d.size());
  std::mt19937 rng(seed);
  complex_matrix L = random_basis(n, rng, 0.3), Q = random_basis(n, rng, 1.0);
  if (!complex_entries) {
    L.im.fill(0);
    Q.im.fill(0);
  }
  for (int j = 0; j < n; ++j) {
    for (int t = 0; t < j; ++t) {
      complex s = 0;
      for (int i = 0; i < n; ++i) s += std::conj(Q(i, t)) * Q(i, j);
      for (int i = 0; i < n; ++i) Q.set(i, j, Q(i, j) - s * Q(i, t));
    }
    double norm = 0;
    for (int i = 0; i < n; ++i) norm += std::norm(Q(i, j));
    for (int i = 0; i < n; ++i) Q.set(i, j, Q(i, j) / std::sqrt(norm));
  }
  complex_matrix QD = Q;
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) QD.set(i, j, Q(i, j) * d[j]);
  const complex_matrix LQ = product(L, Q), LQD = product(L, QD);
  return {product(LQD, adjoint(LQ)), product(L, adjoint(L))};
}

double largest(const complex_matrix& A) {
  double m = 0;
  for (int j = 0; j < A.cols(); ++j)
    for (int i = 0; i < A.rows(); ++i) m = std::max(m, std::abs(A(i, j)));
  return m;
}

// Residuals |H c - eps S c|, C^H S C = I and the eigenvalues themselves, with degenerate levels
// (a threefold one, pairs) at and inside the vectors asked for, complex and real input.
TEST(HermitianSolver, EigenpairsOfKnownSpectra) {
  struct row {
    std::vector<double> d;
    int vectors;
    bool complex_entries;
  };
  const row rows[] = {
      {{-2, -1, 0.5, 0.5, 0.5, 1, 3, 3}, -1, true},
      {{-2, -1, 0.5, 0.5, 0.5, 1, 3, 3}, 3, true},
      {{-5, -5, -1, 0, 2, 2, 2, 2, 7, 9}, 5, false},
      {{-0.3, 0.1, 0.2, 0.4, 1.1, 2.5}, 2, true},
  };
  for (const char* name : {"own", "lapack"}) {
    auto solver = make_hermitian_solver(name);
    if (!solver) continue;
    for (const row& r : rows) {
      SCOPED_TRACE(name);
      const problem p = with_eigenvalues(r.d, 7, r.complex_entries);
      hermitian_result out;
      solver->solve(p.H, p.S, r.vectors, out);
      const int asked = r.vectors < 0 ? int(r.d.size()) : r.vectors;
      ASSERT_GE(out.C.cols(), asked);
      for (std::size_t k = 0; k < r.d.size(); ++k) EXPECT_NEAR(out.eps[k], r.d[k], 1e-12);
      const complex_matrix HC = product(p.H, out.C), SC = product(p.S, out.C);
      complex_matrix residual = HC;
      for (int j = 0; j < out.C.cols(); ++j)
        for (int i = 0; i < out.C.rows(); ++i) residual.set(i, j, HC(i, j) - out.eps[j] * SC(i, j));
      EXPECT_LT(largest(residual), 1e-12);
      complex_matrix gram = product(out.C, SC, true);
      for (int i = 0; i < gram.rows(); ++i) gram.set(i, i, gram(i, i) - 1.0);
      EXPECT_LT(largest(gram), 1e-12);
    }
  }
}

// Real symmetric input gives the real electronic solver's orbital energies.
TEST(HermitianSolver, RealInputAgreesWithTheRealSolver) {
  const problem p = with_eigenvalues({-3, -1.5, -1.5, 0.2, 0.7, 4}, 3, false);
  electronic_result real;
  make_own_solver()->solve(p.H.re, p.S.re, 4, real);
  hermitian_result out;
  solve_hermitian(p.H, p.S, out);
  for (int k = 0; k < 6; ++k) EXPECT_NEAR(out.eps[k], real.eps[k], 1e-13);
}

// P = sum f c c^H and W = sum f eps c c^H: Hermitian, tr(P S) the electron count, and with a
// degenerate level filled evenly the same whichever vectors span it.
TEST(HermitianSolver, DensitiesOfOccupiedOrbitals) {
  const problem p = with_eigenvalues({-2, -1, -1, 0.5, 2}, 11);
  hermitian_result out;
  solve_hermitian(p.H, p.S, out);
  const std::vector<double> f = {2, 1.5, 1.5, 0.25};
  complex_matrix P, W;
  hermitian_densities(out, f, P, W);
  complex tr = 0;
  const complex_matrix PS = product(P, p.S);
  for (int i = 0; i < 5; ++i) tr += PS(i, i);
  EXPECT_NEAR(tr.real(), 5.25, 1e-12);
  EXPECT_NEAR(tr.imag(), 0.0, 1e-12);
  for (int j = 0; j < 5; ++j)
    for (int i = 0; i < 5; ++i) {
      complex direct_p = 0, direct_w = 0;
      for (int k = 0; k < 4; ++k) {
        direct_p += f[k] * out.C(i, k) * std::conj(out.C(j, k));
        direct_w += f[k] * out.eps[k] * out.C(i, k) * std::conj(out.C(j, k));
      }
      EXPECT_NEAR(std::abs(P(i, j) - direct_p), 0.0, 1e-13);
      EXPECT_NEAR(std::abs(W(i, j) - direct_w), 0.0, 1e-13);
    }
}

TEST(HermitianSolver, OverlapThatIsNotPositiveDefiniteIsANumericalError) {
  problem p = with_eigenvalues({-1, 0, 1}, 5);
  for (int i = 0; i < 3; ++i) p.S.re(i, i) -= 10;
  hermitian_result out;
  try {
    solve_hermitian(p.H, p.S, out);
    ADD_FAILURE() << "accepted";
  } catch (const numerical_error& e) {
    EXPECT_NE(std::string(e.what()).find("the overlap matrix of a k-point is not positive definite"), std::string::npos);
  }
}

}  // namespace
}  // namespace tbrelax
