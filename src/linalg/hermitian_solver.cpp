// Our own Hermitian solver on the real symmetric embedding, and the choice of solver.

#include "linalg/hermitian_solver.hpp"

#include <algorithm>
#include <cmath>
#include <string>

#include "linalg/canonical_orthogonalisation.hpp"
#include "linalg/hermitian_vectors.hpp"
#include "linalg/overlap_definiteness.hpp"
#include "linalg/standard_form.hpp"
#include "linalg/subset_eigensolver.hpp"
#include "linalg/triangular.hpp"
#include "state/errors.hpp"

#ifdef TBRELAX_HAVE_LAPACK
#include "linalg/backends/lapack/lapack_hermitian.hpp"
#endif

namespace tbrelax {
namespace {

// [[A, -B], [B, A]] for M = A + iB.
void embed(const complex_matrix& M, matrix& E) {
  const int n = M.rows();
  if (E.rows() != 2 * n) E = matrix(2 * n);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) {
      const double a = M.re(i, j), b = M.im(i, j);
      E(i, j) = a;
      E(i + n, j + n) = a;
      E(i + n, j) = b;
      E(i, j + n) = -b;
    }
}

// Real vectors a cluster needs beyond twice the complex ones asked for, so that a degenerate
// level at the edge of the request is seldom cut (where it is, the solve is repeated with all).
constexpr int cluster_margin = 16;

class embedded_solver final : public hermitian_solver {
 public:
  std::string name() const override { return "own"; }

  void solve(const complex_matrix& H, const complex_matrix& S, int vectors, hermitian_result& out) override {
    const int n = H.rows();
    if (vectors < 0 || vectors > n) vectors = n;
    if (n == 0) {
      out = {};
      return;
    }
    embed(S, S2_);
    embed(H, H2_);
    const bool cholesky = factor_trusted();
    int real_vectors = std::min(2 * n, 2 * vectors + cluster_margin);
    while (true) {
      if (cholesky) solve_by_factor(real_vectors, vectors);
      else solve_canonical();
      if (complex_from_embedding(eps2_, Z_, columns_, vectors, out) || real_vectors == 2 * n || !cholesky) break;
      real_vectors = 2 * n;
    }
  }

 private:
  bool factor_trusted() {
    U_ = S2_;
    if (!cholesky_upper(U_, pivots_)) return false;
    return check_overlap_factor(S2_, pivots_, [this](std::vector<double>& x) {
             solve_transposed_upper(U_, x);
             solve_upper(U_, x);
           }).trusted;
  }

  // Only the real vectors the complex ones are made from are transformed back: one of the two
  // of each lone level, which halves the back-transformation and the back substitution.
  void solve_by_factor(int real_vectors, int vectors) {
    const int n2 = S2_.rows();
    reduce_to_standard_form(U_, H2_, A_);
    eps2_.resize(n2);
    const auto keep = [&](const double*) { return columns_ = embedded_columns(eps2_, real_vectors, vectors); };
    if (!subset_eigensolver(A_, real_vectors, eps2_.data(), Z_, eigen_, reduction_for_order(n2), keep))
      throw numerical_error("the eigensolver did not converge at a k-point");
    solve_upper(U_, Z_.data(), n2, int(columns_.size()));
  }

  void solve_canonical() {
    std::vector<negative_overlap> negatives;
    enonort(eps2_, H2_, S2_, Z_, negatives, nullptr, &canonical_);
    if (!negatives.empty())
      throw numerical_error("the overlap matrix of a k-point is not positive definite (eigenvalue " +
                            std::to_string(negatives.front().value) + "): atoms or images too close");
    columns_.resize(eps2_.size());
    for (std::size_t j = 0; j < columns_.size(); ++j) columns_[j] = int(j);
    for (double e : eps2_)
      if (!std::isfinite(e))
        throw numerical_error("the overlap matrix of a k-point is singular: atoms or images too close");
  }

  matrix S2_, H2_, U_, A_, Z_;
  std::vector<double> pivots_, eps2_;
  std::vector<int> columns_;  // the eigenvector held in each column of Z_
  subset_eigen_workspace eigen_;
  orthogonalisation_workspace canonical_;
};

}  // namespace

std::unique_ptr<hermitian_solver> make_hermitian_solver(const std::string& name) {
  if (name == "own") return std::make_unique<embedded_solver>();
#ifdef TBRELAX_HAVE_LAPACK
  if (name == "lapack" || name == "default") return make_lapack_hermitian_solver();
#else
  if (name == "default") return std::make_unique<embedded_solver>();
#endif
  return nullptr;
}

void solve_hermitian(const complex_matrix& H, const complex_matrix& S, hermitian_result& out) {
  make_hermitian_solver()->solve(H, S, -1, out);
}

}  // namespace tbrelax
