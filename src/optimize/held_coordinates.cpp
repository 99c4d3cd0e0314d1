#include "optimize/held_coordinates.hpp"

#include <cmath>

#include "state/errors.hpp"

namespace tbrelax {
namespace {

// Solves the small symmetric positive definite system a y = b (a: n x n, row-major) by
// Cholesky; false when a is not positive definite (dependent constraint gradients).
bool solve_spd(std::vector<double> a, std::vector<double>& b) {
  const std::size_t n = b.size();
  for (std::size_t j = 0; j < n; ++j) {
    double d = a[j * n + j];
    for (std::size_t k = 0; k < j; ++k) d -= a[j * n + k] * a[j * n + k];
    if (!(d > 0)) return false;
    a[j * n + j] = std::sqrt(d);
    for (std::size_t i = j + 1; i < n; ++i) {
      double s = a[i * n + j];
      for (std::size_t k = 0; k < j; ++k) s -= a[i * n + k] * a[j * n + k];
      a[i * n + j] = s / a[j * n + j];
    }
  }
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t k = 0; k < i; ++k) b[i] -= a[i * n + k] * b[k];
    b[i] /= a[i * n + i];
  }
  for (std::size_t i = n; i-- > 0;) {
    for (std::size_t k = i + 1; k < n; ++k) b[i] -= a[k * n + i] * b[k];
    b[i] /= a[i * n + i];
  }
  return true;
}

// (G G^T)^-1 rhs, with G the rows of the coordinates' gradients.
std::vector<double> gram_solve(const std::vector<std::vector<double>>& g, std::vector<double> rhs) {
  const std::size_t n = g.size();
  std::vector<double> gram(n * n);
  for (std::size_t i = 0; i < n; ++i)
    for (std::size_t j = 0; j < n; ++j) gram[i * n + j] = dot(g[i], g[j]);
  if (!solve_spd(std::move(gram), rhs))
    throw numerical_error("the held coordinates are not independent here: their gradients are linearly dependent");
  return rhs;
}

// Below this the gradient of an angle is lost in rounding (the atoms are within 0.06 degrees of a line).
constexpr double least_definiteness = 1e-3;
constexpr int projection_iterations = 50;

}  // namespace

held_coordinates::held_coordinates(objective& inner, std::vector<internal_coordinate> held)
    : inner_(inner), held_(std::move(held)), targets_(held_.size(), 0.0), constraint_forces_(held_.size(), 0.0) {}

void held_coordinates::hold_at(std::vector<double> targets) { targets_ = std::move(targets); }

std::vector<double> held_coordinates::projected(std::vector<double> x) const {
  for (int iteration = 0; iteration < projection_iterations; ++iteration) {
    std::vector<double> miss(held_.size());
    double worst = 0;
    for (std::size_t i = 0; i < held_.size(); ++i) {
      if (!(held_[i].definiteness(x) > least_definiteness))
        throw numerical_error("the coordinate " + held_[i].label() + " is undefined: its atoms are (nearly) in a line");
      miss[i] = coordinate_difference(held_[i].kind, held_[i].value(x), targets_[i]);
      worst = std::max(worst, std::abs(miss[i]));
    }
    if (worst <= held_tolerance) return x;
    std::vector<std::vector<double>> g;
    for (const internal_coordinate& q : held_) g.push_back(q.gradient(x));
    // The shortest move that removes the miss to first order: x -= G^T (G G^T)^-1 miss.
    const std::vector<double> y = gram_solve(g, miss);
    for (std::size_t i = 0; i < held_.size(); ++i)
      for (std::size_t k = 0; k < x.size(); ++k) x[k] -= y[i] * g[i][k];
  }
  throw numerical_error("the held coordinates cannot be brought to their values from this geometry");
}

search_point held_coordinates::evaluate(std::vector<double> x) {
  ++evaluations_;
  search_point p = inner_.evaluate(projected(std::move(x)));
  std::vector<std::vector<double>> g;
  for (const internal_coordinate& q : held_) g.push_back(q.gradient(p.x));
  // F = F_tangent + G^T lambda, the tangential part orthogonal to every gradient; the
  // coordinates' own derivative of the energy is -lambda.
  std::vector<double> along(held_.size());
  for (std::size_t i = 0; i < held_.size(); ++i) along[i] = dot(g[i], p.force);
  const std::vector<double> lambda = gram_solve(g, std::move(along));
  for (std::size_t i = 0; i < held_.size(); ++i) {
    constraint_forces_[i] = -lambda[i];
    for (std::size_t k = 0; k < p.force.size(); ++k) p.force[k] -= lambda[i] * g[i][k];
  }
  return p;
}

}  // namespace tbrelax
