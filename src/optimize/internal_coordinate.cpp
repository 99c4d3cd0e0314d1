#include "optimize/internal_coordinate.hpp"

#include <cmath>
#include <numbers>

namespace tbrelax {
namespace {

using vec = std::array<double, 3>;

vec position(std::span<const double> x, int atom) { return {x[3 * atom], x[3 * atom + 1], x[3 * atom + 2]}; }
vec minus(const vec& a, const vec& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
vec scaled(const vec& a, double s) { return {a[0] * s, a[1] * s, a[2] * s}; }
vec plus(const vec& a, const vec& b) { return {a[0] + b[0], a[1] + b[1], a[2] + b[2]}; }
double dot3(const vec& a, const vec& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
double norm(const vec& a) { return std::sqrt(dot3(a, a)); }
vec cross(const vec& a, const vec& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

// The angle between two bond vectors from atan2, accurate near 0 and pi as well.
double angle_between(const vec& u, const vec& v) { return std::atan2(norm(cross(u, v)), dot3(u, v)); }

void add_to(std::vector<double>& g, int atom, const vec& d) {
  for (int axis = 0; axis < 3; ++axis) g[3 * atom + axis] += d[axis];
}

}  // namespace

double internal_coordinate::value(std::span<const double> x) const {
  const vec a = position(x, atoms[0]), b = position(x, atoms[1]);
  switch (kind) {
    case coordinate_kind::distance: return norm(minus(b, a));
    case coordinate_kind::angle: return angle_between(minus(a, b), minus(position(x, atoms[2]), b));
    case coordinate_kind::dihedral: {
      const vec b1 = minus(b, a), b2 = minus(position(x, atoms[2]), b), b3 = minus(position(x, atoms[3]), position(x, atoms[2]));
      const vec n1 = cross(b1, b2), n2 = cross(b2, b3);
      return std::atan2(norm(b2) * dot3(b1, n2), dot3(n1, n2));
    }
  }
  return 0;
}

std::vector<double> internal_coordinate::gradient(std::span<const double> x) const {
  std::vector<double> g(x.size(), 0.0);
  const vec a = position(x, atoms[0]), b = position(x, atoms[1]);
  switch (kind) {
    case coordinate_kind::distance: {
      const vec d = minus(b, a);
      const vec u = scaled(d, 1 / norm(d));
      add_to(g, atoms[0], scaled(u, -1));
      add_to(g, atoms[1], u);
      break;
    }
    case coordinate_kind::angle: {
      const vec ba = minus(a, b), bc = minus(position(x, atoms[2]), b);
      const double r1 = norm(ba), r2 = norm(bc);
      const vec u = scaled(ba, 1 / r1), v = scaled(bc, 1 / r2);
      const double theta = angle_between(u, v), cos_t = std::cos(theta), sin_t = std::sin(theta);
      const vec da = scaled(minus(scaled(u, cos_t), v), 1 / (r1 * sin_t));
      const vec dc = scaled(minus(scaled(v, cos_t), u), 1 / (r2 * sin_t));
      add_to(g, atoms[0], da);
      add_to(g, atoms[2], dc);
      add_to(g, atoms[1], scaled(plus(da, dc), -1));
      break;
    }
    case coordinate_kind::dihedral: {
      // The gradient of Blondel and Karplus: along the plane normals on the outer atoms, and
      // on the inner atoms whatever keeps the sum (translation) and the moment (rotation) zero.
      const vec c = position(x, atoms[2]), d = position(x, atoms[3]);
      const vec b1 = minus(b, a), b2 = minus(c, b), b3 = minus(d, c);
      const vec n1 = cross(b1, b2), n2 = cross(b2, b3);
      const double l2 = norm(b2), l2sq = l2 * l2;
      const vec da = scaled(n1, -l2 / dot3(n1, n1));
      const vec dd = scaled(n2, l2 / dot3(n2, n2));
      const double p = dot3(b1, b2) / l2sq, q = dot3(b3, b2) / l2sq;
      add_to(g, atoms[0], da);
      add_to(g, atoms[3], dd);
      add_to(g, atoms[1], plus(scaled(da, -1 - p), scaled(dd, q)));
      add_to(g, atoms[2], minus(scaled(da, p), scaled(dd, 1 + q)));
      break;
    }
  }
  return g;
}

double internal_coordinate::definiteness(std::span<const double> x) const {
  const vec a = position(x, atoms[0]), b = position(x, atoms[1]);
  if (kind == coordinate_kind::distance) return norm(minus(b, a)) > 0 ? 1.0 : 0.0;
  const vec c = position(x, atoms[2]);
  const double first = std::sin(angle_between(minus(a, b), minus(c, b)));
  if (kind == coordinate_kind::angle) return first;
  return std::min(first, std::sin(angle_between(minus(b, c), minus(position(x, atoms[3]), c))));
}

std::string internal_coordinate::label() const {
  std::string text = kind == coordinate_kind::distance ? "d(" : kind == coordinate_kind::angle ? "a(" : "t(";
  for (int k = 0; k < atom_count(); ++k) text += (k ? "," : "") + std::to_string(atoms[k] + 1);
  return text + ")";
}

double coordinate_difference(coordinate_kind kind, double a, double b) {
  if (kind != coordinate_kind::dihedral) return a - b;
  const double d = std::remainder(a - b, 2 * std::numbers::pi);
  return d == -std::numbers::pi ? std::numbers::pi : d;
}

}  // namespace tbrelax
