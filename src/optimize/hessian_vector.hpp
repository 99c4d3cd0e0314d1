#pragma once
// The Hessian of an objective applied to a direction, without the Hessian: one evaluation a
// short step along the direction, and the change of the force over that step. Works in the
// objective's curvature space: mass-weighted coordinates with the frozen coordinates and the
// rigid motions projected out.

#include <span>
#include <vector>

#include "optimize/objective.hpp"

namespace tbrelax {

// Length of the Cartesian step of one product (angstrom). The model's forces carry a noise of
// about 2e-7 eV/angstrom (they are themselves differences of S and H over 1e-7 angstrom), which
// over this step adds about 2e-3 eV/angstrom^2 to a product. The forward difference's own error,
// half the step times the third derivative, is what a longer step costs: at 1e-3 angstrom it
// held the residual of a converged mode of butanol at 0.03 eV/(angstrom^2 amu), ten times the
// 3e-3 this step reaches.
inline constexpr double hessian_vector_step = 1e-4;

class hessian_vector_product {
 public:
  // At `at`, whose forces are already known.
  hessian_vector_product(objective& f, const search_point& at);
  std::size_t size() const { return at_.x.size(); }
  // Directions left once the frozen coordinates and the rigid motions are taken out.
  int free_dimension() const { return free_dimension_; }
  // Removes the frozen coordinates and the rigid motions from a mass-weighted vector.
  void project(std::vector<double>& v) const;
  // The mass-weighted Hessian times v (projected, v projected first): one evaluation.
  std::vector<double> apply(std::vector<double> v);
  // The Cartesian displacement of a mass-weighted vector (v / sqrt(m)).
  std::vector<double> cartesian(std::span<const double> v) const;
  // The mass-weighted vector of a Cartesian displacement (sqrt(m) d).
  std::vector<double> weighted(std::span<const double> d) const;
  const search_point& point() const { return at_; }
  const curvature_space& space() const { return space_; }

 private:
  objective& f_;
  const search_point& at_;
  curvature_space space_;
  int free_dimension_ = 0;
};

}  // namespace tbrelax
