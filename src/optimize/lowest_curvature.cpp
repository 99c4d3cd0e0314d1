#include "optimize/lowest_curvature.hpp"

#include <cmath>
#include <limits>
#include <span>

#include "linalg/eigensolver.hpp"
#include "state/errors.hpp"

namespace tbrelax {
namespace {

// A direction whose part outside the subspace is below this share of its length adds nothing
// the products could resolve.
constexpr double independence = 1e-6;
// The model's softest modes the iteration starts from: the true softest mode is a mixture of
// a few of them.
constexpr int model_start = 3;
// The share of the residual a settled Ritz value must keep above the threshold: a third of it
// when the model guides the iteration; without a model, where a Krylov space of a few vectors
// can hold a converged pair that is not the lowest, three times it.
constexpr double guided_share = 1.0 / 3.0, unguided_share = 3.0;

class subspace {
 public:
  explicit subspace(hessian_vector_product& hv) : hv_(hv) {}

  // Orthogonalises v against the basis (twice, for the rounding) and adds it with its product;
  // false when nothing independent is left of it.
  bool add(std::vector<double> v) {
    hv_.project(v);
    const double length = std::sqrt(dot(v, v));
    if (!(length > 0)) return false;
    for (int pass = 0; pass < 2; ++pass)
      for (const std::vector<double>& q : basis_) {
        const double overlap = dot(q, v);
        for (std::size_t k = 0; k < v.size(); ++k) v[k] -= overlap * q[k];
      }
    const double rest = std::sqrt(dot(v, v));
    if (!(rest > independence * length)) return false;
    for (double& q : v) q /= rest;
    products_.push_back(hv_.apply(v));
    basis_.push_back(std::move(v));
    return true;
  }

  std::size_t size() const { return basis_.size(); }

  // Ritz values (ascending) and the coefficients of their vectors (column-major) of the
  // symmetrised projected matrix.
  void ritz(std::vector<double>& values, std::vector<double>& vectors) const {
    const int k = static_cast<int>(basis_.size());
    vectors.assign(static_cast<std::size_t>(k) * k, 0.0);
    for (int i = 0; i < k; ++i)
      for (int j = 0; j < k; ++j)
        vectors[i + j * k] = 0.5 * (dot(basis_[i], products_[j]) + dot(basis_[j], products_[i]));
    values.assign(k, 0.0);
    std::vector<double> scratch(k);
    int ierr = 0;
    eisrs1(k, k, values.data(), vectors.data(), ierr, scratch.data());
    if (ierr != 0) throw numerical_error("the curvature check's eigenproblem did not converge");
  }

  // The combination of the basis (or of the products) with coefficients c.
  std::vector<double> combine(const double* c, bool of_products) const {
    const auto& from = of_products ? products_ : basis_;
    std::vector<double> v(hv_.size(), 0.0);
    for (std::size_t i = 0; i < from.size(); ++i)
      for (std::size_t k = 0; k < v.size(); ++k) v[k] += c[i] * from[i][k];
    return v;
  }

 private:
  hessian_vector_product& hv_;
  std::vector<std::vector<double>> basis_, products_;
};

// The objective's model Hessian, mass-weighted, with the left-out directions moved to the top of
// its spectrum, diagonalised once: its soft modes start the iteration, and its inverse shifted
// by the Ritz value turns each residual into the correction of Davidson's method.
class model_guide {
 public:
  explicit model_guide(const hessian_vector_product& hv) : n_(hv.size()) {
    const curvature_space& s = hv.space();
    if (s.model.empty() || n_ == 0) return;
    std::vector<double> A(n_ * n_);
    for (std::size_t i = 0; i < n_; ++i)
      for (std::size_t j = 0; j < n_; ++j) A[i * n_ + j] = s.model[i * n_ + j] / std::sqrt(s.mass[i] * s.mass[j]);
    double top = 0;
    for (std::size_t i = 0; i < n_; ++i) top = std::max(top, A[i * n_ + i]);
    // P A P + shift (1 - P), P the projection onto the free directions; A is symmetric, so
    // projecting its columns, then the rows of the result, gives P A P.
    for (int pass = 0; pass < 2; ++pass) {
      std::vector<double> column(n_);
      for (std::size_t j = 0; j < n_; ++j) {
        for (std::size_t i = 0; i < n_; ++i) column[i] = A[i * n_ + j];
        hv.project(column);
        for (std::size_t i = 0; i < n_; ++i) A[i * n_ + j] = column[i];
      }
      for (std::size_t i = 0; i < n_; ++i)
        for (std::size_t j = 0; j < i; ++j) std::swap(A[i * n_ + j], A[j * n_ + i]);
    }
    const double shift = 2 * top + 1;
    std::vector<double> unit(n_);
    for (std::size_t j = 0; j < n_; ++j) {
      std::fill(unit.begin(), unit.end(), 0.0);
      unit[j] = 1;
      hv.project(unit);
      for (std::size_t i = 0; i < n_; ++i) A[i * n_ + j] += shift * ((i == j ? 1.0 : 0.0) - unit[i]);
    }
    values_.assign(n_, 0.0);
    std::vector<double> scratch(n_);
    int ierr = 0;
    eisrs1(static_cast<int>(n_), static_cast<int>(n_), values_.data(), A.data(), ierr, scratch.data());
    if (ierr != 0) return;  // the iteration goes on without the model
    free_ = static_cast<std::size_t>(hv.free_dimension());
    vectors_ = std::move(A);
    floor_ = free_ > 0 ? 1e-3 * std::max(values_[free_ - 1], 1e-12) : 1.0;
  }

  bool usable() const { return free_ > 0; }
  std::vector<double> mode(std::size_t k) const {
    return {vectors_.begin() + k * n_, vectors_.begin() + (k + 1) * n_};
  }
  // (A - theta)^-1 r within the free directions; r itself without a model.
  std::vector<double> correction(const std::vector<double>& r, double theta) const {
    if (!usable()) return r;
    std::vector<double> t(n_, 0.0);
    for (std::size_t k = 0; k < free_; ++k) {
      const double* v = vectors_.data() + k * n_;
      double gap = values_[k] - theta;
      if (std::abs(gap) < floor_) gap = std::copysign(floor_, gap);
      const double c = dot(std::span<const double>(v, n_), r) / gap;
      for (std::size_t i = 0; i < n_; ++i) t[i] += c * v[i];
    }
    return t;
  }

 private:
  std::size_t n_;
  std::size_t free_ = 0;
  std::vector<double> values_, vectors_;  // ascending; eigenvectors by columns
  double floor_ = 1;
};

}  // namespace

curvature_estimate lowest_curvature(hessian_vector_product& hv, const std::vector<std::vector<double>>& guesses,
                                    double threshold, int max_products) {
  curvature_estimate e;
  e.curvature = std::numeric_limits<double>::quiet_NaN();
  const int dimension = hv.free_dimension();
  if (dimension == 0) {
    e.settled = true;
    return e;
  }
  subspace space(hv);
  const model_guide model(hv);
  // The model's softest modes, and each guess turned towards the model's soft modes by one step
  // of inverse iteration (which keeps every symmetry the guess has, or lacks).
  std::vector<std::vector<double>> start;
  if (model.usable())
    for (int k = 0; k < std::min(model_start, dimension - 1); ++k) start.push_back(model.mode(k));
  for (const std::vector<double>& g : guesses) start.push_back(model.correction(g, 0.0));
  for (const std::vector<double>& g : start)
    if (static_cast<int>(space.size()) < std::min(dimension, max_products)) space.add(g);
  std::vector<double> values, vectors;
  for (;;) {
    e.products = static_cast<int>(space.size());
    if (space.size() == 0) {  // every guess lay in the projected-out space
      e.settled = true;
      return e;
    }
    space.ritz(values, vectors);
    e.curvature = values[0];
    e.mode = space.combine(vectors.data(), false);
    std::vector<double> residual = space.combine(vectors.data(), true);
    for (std::size_t k = 0; k < residual.size(); ++k) residual[k] -= e.curvature * e.mode[k];
    hv.project(residual);
    const double r = std::sqrt(dot(residual, residual));
    // Some curvature lies within r of the Ritz value. Once r is below the gap to the next Ritz
    // value, the pair stands alone and its error is of order r^2 / gap (the Kato-Temple bound,
    // with the next Ritz value standing in for the next curvature), though never taken below a
    // share of r; the sign counts as settled when that bound lies above the threshold.
    const double gap = values.size() > 1 ? values[1] - e.curvature : 0.0;
    const double share = model.usable() ? guided_share : unguided_share;
    // One vector says nothing of the curvatures beside its own.
    const double lower = values.size() < 2 ? -HUGE_VAL
                         : e.curvature - (r < gap ? std::max(r * r / gap, share * r) : std::max(r, share * r));
    if (e.curvature < threshold || lower > threshold || static_cast<int>(space.size()) >= dimension) {
      e.settled = true;
      return e;
    }
    if (e.products >= max_products) return e;
    if (!space.add(model.correction(residual, e.curvature))) {
      e.settled = true;  // the subspace holds an eigenvector: nothing more to learn
      return e;
    }
  }
}

}  // namespace tbrelax
