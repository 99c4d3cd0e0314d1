#include "optimize/lowest_curvature.hpp"

#include <cmath>
#include <limits>

#include "linalg/eigensolver.hpp"
#include "state/errors.hpp"

namespace tbrelax {
namespace {

// A direction whose part outside the subspace is below this share of its length adds nothing
// the products could resolve.
constexpr double independence = 1e-6;
constexpr double settling_share = 0.1;

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
      for (int j = 0; j < k; ++j) vectors[i + j * k] = 0.5 * (dot(basis_[i], products_[j]) + dot(basis_[j], products_[i]));
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
  for (const std::vector<double>& g : guesses)
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
    // Some curvature lies within r of the Ritz value; once r is a fraction of the Ritz value's
    // margin above the threshold, that curvature, and the lowest with it, lies above it.
    const double lower = e.curvature - r / settling_share;
    if (e.curvature < threshold || lower > threshold || static_cast<int>(space.size()) >= dimension) {
      e.settled = true;
      return e;
    }
    if (e.products >= max_products) return e;
    if (!space.add(std::move(residual))) {
      e.settled = true;  // the subspace holds an eigenvector: nothing more to learn
      return e;
    }
  }
}

}  // namespace tbrelax
