#include "linalg/hermitian_solver.hpp"

#include <gtest/gtest.h>

#include <complex>
#include <random>

#include "linalg/electronic_solver.hpp"
#include "state/errors.hpp"

namespace tbrelax {
namespace {

using complex = std::complex<double>;

// B diag(d) C^H, or B C when d is empty.
complex_matrix product(const complex_matrix& B, const complex_matrix& C, const std::vector<double>& d = {}) {
  const bool adjoint = !d.empty();
  complex_matrix R(B.rows(), adjoint ? C.rows() : C.cols());
  for (int j = 0; j < R.cols(); ++j)
    for (int i = 0; i < R.rows(); ++i) {
      complex s = 0;
      for (int t = 0; t < B.cols(); ++t) s += adjoint ? B(i, t) * d[t] * std::conj(C(j, t)) : B(i, t) * C(t, j);
      R.set(i, j, s);
    }
  return R;
}

// S = L L^H and H = (L Q) D (L Q)^H, with L the identity plus a small random part and Q a
// Householder reflector (unitary): the generalised eigenvalues are exactly D, multiplicities
// included.
struct problem {
  complex_matrix H, S;
};
problem with_eigenvalues(const std::vector<double>& d, bool complex_entries) {
  const int n = int(d.size());
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> u(-0.3, 0.3);
  complex_matrix L(n), Q(n);
  std::vector<complex> v(n);
  for (auto& x : v) x = complex(1 + u(rng), complex_entries ? u(rng) : 0.0);
  double vv = 0;
  for (const auto& x : v) vv += std::norm(x);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) {
      L.set(i, j, complex(u(rng), complex_entries ? u(rng) : 0.0) + (i == j ? 1.0 : 0.0));
      Q.set(i, j, (i == j ? 1.0 : 0.0) - 2.0 * v[i] * std::conj(v[j]) / vv);
    }
  const complex_matrix LQ = product(L, Q);
  return {product(LQ, LQ, d), product(L, L, std::vector<double>(n, 1.0))};
}

double largest(const complex_matrix& A) {
  double m = 0;
  for (int j = 0; j < A.cols(); ++j)
    for (int i = 0; i < A.rows(); ++i) m = std::max(m, std::abs(A(i, j)));
  return m;
}

// Eigenvalues, residuals |H c - eps S c| and C^H S C = I with degenerate levels (threefold,
// tenfold, pairs) inside and at the edge of the vectors asked for, complex and real input, on
// every solver of the build; the real electronic solver agrees on real input.
TEST(HermitianSolver, EigenpairsOfKnownSpectra) {
  struct row {
    std::vector<double> d;
    int vectors;
    bool complex_entries;
  };
  const row rows[] = {{{-2, -1, 0.5, 0.5, 0.5, 1, 3, 3}, -1, true},
                      {{-2, -1, 0.5, 0.5, 0.5, 1, 3, 3}, 3, true},
                      {{-5, -5, -1, 0, 2, 2, 2, 2, 7, 9}, 5, false},
                      {{-0.3, 0.1, 0.2, 0.4, 1.1, 2.5}, 2, true},
                      // a tenfold level reaching past the vectors solved for at first: solved again
                      {{-1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3}, 2, true}};
  for (const char* name : {"own", "lapack"}) {
    auto solver = make_hermitian_solver(name);
    if (!solver) continue;
    for (const row& r : rows) {
      SCOPED_TRACE(name);
      const problem p = with_eigenvalues(r.d, r.complex_entries);
      hermitian_result out;
      solver->solve(p.H, p.S, r.vectors, out);
      ASSERT_GE(out.C.cols(), r.vectors < 0 ? int(r.d.size()) : r.vectors);
      for (std::size_t k = 0; k < r.d.size(); ++k) EXPECT_NEAR(out.eps[k], r.d[k], 1e-12);
      const complex_matrix HC = product(p.H, out.C), SC = product(p.S, out.C);
      complex_matrix residual = HC, gram(out.C.cols());  // C^H S C - I
      for (int j = 0; j < out.C.cols(); ++j) {
        for (int i = 0; i < out.C.rows(); ++i) residual.set(i, j, HC(i, j) - out.eps[j] * SC(i, j));
        for (int i = 0; i < out.C.cols(); ++i) {
          complex g = i == j ? -1.0 : 0.0;
          for (int t = 0; t < out.C.rows(); ++t) g += std::conj(out.C(t, i)) * SC(t, j);
          gram.set(i, j, g);
        }
      }
      EXPECT_LT(largest(residual), 1e-12);
      EXPECT_LT(largest(gram), 1e-12);
      if (!r.complex_entries) {
        electronic_result real;
        make_own_solver()->solve(p.H.re, p.S.re, 2, real);
        for (std::size_t k = 0; k < r.d.size(); ++k) EXPECT_NEAR(out.eps[k], real.eps[k], 1e-13);
      }
    }
  }
}

// P = sum f c c^H and W = sum f eps c c^H from the product engine equal their direct sums.
TEST(HermitianSolver, DensitiesOfOccupiedOrbitals) {
  const problem p = with_eigenvalues({-2, -1, -1, 0.5, 2}, true);
  hermitian_result out;
  solve_hermitian(p.H, p.S, out);
  const std::vector<double> f = {2, 1.5, 1.5, 0.25, 0};
  complex_matrix P, W;
  hermitian_densities(out, f, P, W);
  std::vector<double> fe(5);
  for (int k = 0; k < 5; ++k) fe[k] = f[k] * out.eps[k];
  const complex_matrix direct_p = product(out.C, out.C, f), direct_w = product(out.C, out.C, fe);
  for (int j = 0; j < 5; ++j)
    for (int i = 0; i < 5; ++i) {
      EXPECT_NEAR(std::abs(P(i, j) - direct_p(i, j)), 0.0, 1e-13);
      EXPECT_NEAR(std::abs(W(i, j) - direct_w(i, j)), 0.0, 1e-13);
    }
}

TEST(HermitianSolver, OverlapThatIsNotPositiveDefiniteIsANumericalError) {
  problem p = with_eigenvalues({-1, 0, 1}, true);
  for (int i = 0; i < 3; ++i) p.S.re(i, i) -= 10;
  hermitian_result out;
  try {
    solve_hermitian(p.H, p.S, out);
    ADD_FAILURE() << "accepted";
  } catch (const numerical_error& e) {
    EXPECT_NE(std::string(e.what()).find("the overlap matrix of a k-point is not positive definite"),
              std::string::npos);
  }
}

}  // namespace
}  // namespace tbrelax
