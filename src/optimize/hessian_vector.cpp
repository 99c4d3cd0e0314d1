#include "optimize/hessian_vector.hpp"

#include <cmath>

namespace tbrelax {

hessian_vector_product::hessian_vector_product(objective& f, const search_point& at)
    : f_(f), at_(at), space_(f.curvature_space_at(at)) {
  for (bool frozen : space_.frozen) free_dimension_ += frozen ? 0 : 1;
  free_dimension_ -= static_cast<int>(space_.rigid.size());
  if (free_dimension_ < 0) free_dimension_ = 0;
}

void hessian_vector_product::project(std::vector<double>& v) const {
  for (std::size_t k = 0; k < v.size(); ++k)
    if (space_.frozen[k]) v[k] = 0.0;
  for (const std::vector<double>& r : space_.rigid) {
    const double overlap = dot(r, v);
    for (std::size_t k = 0; k < v.size(); ++k) v[k] -= overlap * r[k];
  }
}

std::vector<double> hessian_vector_product::apply(std::vector<double> v) {
  project(v);
  const std::vector<double> d = cartesian(v);
  const double length = std::sqrt(dot(d, d));
  std::vector<double> Hv(v.size(), 0.0);
  if (!(length > 0)) return Hv;
  // Forward difference from the known point: H d = -(F(x + t d) - F(x)) / t.
  const double t = hessian_vector_step / length;
  std::vector<double> x(at_.x);
  for (std::size_t k = 0; k < x.size(); ++k) x[k] += t * d[k];
  const search_point moved = f_.evaluate(std::move(x));
  for (std::size_t k = 0; k < Hv.size(); ++k)
    Hv[k] = -(moved.force[k] - at_.force[k]) / (t * std::sqrt(space_.mass[k]));
  project(Hv);
  return Hv;
}

std::vector<double> hessian_vector_product::cartesian(std::span<const double> v) const {
  std::vector<double> d(v.size());
  for (std::size_t k = 0; k < d.size(); ++k) d[k] = v[k] / std::sqrt(space_.mass[k]);
  return d;
}

std::vector<double> hessian_vector_product::weighted(std::span<const double> d) const {
  std::vector<double> v(d.size());
  for (std::size_t k = 0; k < v.size(); ++k) v[k] = d[k] * std::sqrt(space_.mass[k]);
  return v;
}

}  // namespace tbrelax
