#include "tb/stress.hpp"

#include <cmath>

namespace tbrelax {
namespace {

using vec3 = std::array<double, 3>;

vec3 cross(const vec3& u, const vec3& v) {
  return {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]};
}

double norm(const vec3& v) { return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]); }

}  // namespace

double cell_volume(const periodic_cell& cell) {
  const vec3 n = cross(cell.a[0], cell.a[1]);
  return std::abs(n[0] * cell.a[2][0] + n[1] * cell.a[2][1] + n[2] * cell.a[2][2]);
}

double periodic_measure(const periodic_cell& cell) {
  vec3 periodic[3];
  int count = 0;
  for (int i = 0; i < 3; ++i)
    if (cell.pbc[i]) periodic[count++] = cell.a[i];
  switch (count) {
    case 1: return norm(periodic[0]);
    case 2: return norm(cross(periodic[0], periodic[1]));
    case 3: return cell_volume(cell);
    default: return 1;
  }
}

voigt stress_of(const periodic_evaluation& p, const periodic_cell& cell) {
  const auto& D = p.strain_derivative;
  const double V = cell_volume(cell);
  const auto sym = [&](int i, int j) { return 0.5 * (D[i][j] + D[j][i]) / V; };
  return {sym(0, 0), sym(1, 1), sym(2, 2), sym(1, 2), sym(0, 2), sym(0, 1)};
}

voigt reduced_stress(const voigt& stress, const periodic_cell& cell) {
  const double scale = cell_volume(cell) / periodic_measure(cell);
  voigt out;
  for (int i = 0; i < 6; ++i) out[i] = stress[i] * scale;
  return out;
}

}  // namespace tbrelax
