#include "tb/kpoint_grid.hpp"

#include <cmath>
#include <numbers>
#include <stdexcept>
#include <string>

namespace tbrelax {
namespace {

using vec3 = std::array<double, 3>;

vec3 cross(const vec3& u, const vec3& v) {
  return {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]};
}
double dot(const vec3& u, const vec3& v) { return u[0] * v[0] + u[1] * v[1] + u[2] * v[2]; }
vec3 unit(const vec3& u) {
  const double l = std::sqrt(dot(u, u));
  return {u[0] / l, u[1] / l, u[2] / l};
}

// A unit vector perpendicular to u.
vec3 perpendicular(const vec3& u) {
  const vec3 trial = std::abs(u[0]) < 0.9 * std::sqrt(dot(u, u)) ? vec3{1, 0, 0} : vec3{0, 1, 0};
  return unit(cross(u, trial));
}

}  // namespace

std::array<vec3, 3> reciprocal_vectors(const periodic_cell& cell) {
  std::array<vec3, 3> a = cell.a;
  std::array<int, 3> periodic{}, other{};
  int p = 0, q = 0;
  for (int i = 0; i < 3; ++i) (cell.pbc[i] ? periodic[p++] : other[q++]) = i;
  if (p == 0) {
    a = {vec3{1, 0, 0}, vec3{0, 1, 0}, vec3{0, 0, 1}};
  } else if (p == 1) {
    const vec3 u = perpendicular(a[periodic[0]]);
    a[other[0]] = u;
    a[other[1]] = unit(cross(a[periodic[0]], u));
  } else if (p == 2) {
    a[other[0]] = unit(cross(a[periodic[0]], a[periodic[1]]));
  }
  const double volume = dot(a[0], cross(a[1], a[2]));
  const double scale = 2 * std::numbers::pi / volume;
  std::array<vec3, 3> b{};
  for (int i = 0; i < 3; ++i) {
    const vec3 c = cross(a[(i + 1) % 3], a[(i + 2) % 3]);
    for (int d = 0; d < 3; ++d) b[i][d] = scale * c[d];
  }
  return b;
}

std::vector<kpoint> kpoint_grid(const periodic_cell& cell, std::array<int, 3> n, std::array<double, 3> shift) {
  const std::array<vec3, 3> b = reciprocal_vectors(cell);
  const double weight = 1.0 / (double(n[0]) * n[1] * n[2]);
  // The index on axis i of the partner of m (the grid point at -k modulo the reciprocal
  // lattice), or -1 where -k falls between grid points.
  auto partner = [&](int i, int m) {
    const double t = -m - 2 * shift[i];
    const double r = std::round(t);
    if (std::abs(t - r) > 1e-12) return -1;
    return int(((long(r) % n[i]) + n[i]) % n[i]);
  };
  const long count = long(n[0]) * n[1] * n[2];
  std::vector<double> weights(count, weight);
  auto index = [&](int i, int j, int k) { return (long(i) * n[1] + j) * n[2] + k; };
  for (int i = 0; i < n[0]; ++i)
    for (int j = 0; j < n[1]; ++j)
      for (int k = 0; k < n[2]; ++k) {
        const int pi = partner(0, i), pj = partner(1, j), pk = partner(2, k);
        if (pi < 0 || pj < 0 || pk < 0) continue;
        const long self = index(i, j, k), other = index(pi, pj, pk);
        if (other > self && weights[other] > 0 && weights[self] > 0) {
          weights[self] += weights[other];
          weights[other] = 0;
        }
      }
  std::vector<kpoint> points;
  for (int i = 0; i < n[0]; ++i)
    for (int j = 0; j < n[1]; ++j)
      for (int k = 0; k < n[2]; ++k) {
        const double w = weights[index(i, j, k)];
        if (w == 0) continue;
        const double f[3] = {(i + shift[0]) / n[0], (j + shift[1]) / n[1], (k + shift[2]) / n[2]};
        vec3 kv{};
        for (int d = 0; d < 3; ++d) kv[d] = f[0] * b[0][d] + f[1] * b[1][d] + f[2] * b[2][d];
        points.push_back({kv, w});
      }
  return points;
}

std::array<int, 3> default_kpoint_grid(const periodic_cell& cell) {
  const std::array<vec3, 3> b = reciprocal_vectors(cell);
  std::array<int, 3> n{1, 1, 1};
  for (int i = 0; i < 3; ++i)
    if (cell.pbc[i]) n[i] = std::max(1, int(std::ceil(std::sqrt(dot(b[i], b[i])) / default_kpoint_spacing - 1e-9)));
  return n;
}

void check_kpoint_grid(const periodic_cell& cell, std::array<int, 3> n, std::array<double, 3> shift) {
  const char* axis[3] = {"first", "second", "third"};
  for (int i = 0; i < 3; ++i) {
    if (n[i] < 1) throw std::invalid_argument("k-point grid: every count must be at least 1");
    if (!std::isfinite(shift[i])) throw std::invalid_argument("k-point shift: not a finite number");
    if (!cell.pbc[i] && (n[i] != 1 || shift[i] != 0))
      throw std::invalid_argument(std::string("k-point grid: the ") + axis[i] +
                                  " lattice vector is not periodic, so its count must be 1 and its shift 0");
  }
}

}  // namespace tbrelax
