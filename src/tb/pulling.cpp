#include "tb/pulling.hpp"

#include <array>
#include <cmath>
#include <optional>

namespace tbrelax {
namespace {

struct pair_axis {
  int a, b;  // from 0
  std::array<double, 3> D;
  double L;
};

// The axis of an acting pair; none for a missing atom or two coincident ones.
std::optional<pair_axis> axis_of(const common_var& c, const pulling_pair& p) {
  if (p.a < 1 || p.b < 1 || p.a > c.at_count || p.b > c.at_count) return std::nullopt;
  const int a = p.a - 1, b = p.b - 1;
  const std::array<double, 3> D = {c.x[b] - c.x[a], c.y[b] - c.y[a], c.z[b] - c.z[a]};
  const double L = std::sqrt(D[0] * D[0] + D[1] * D[1] + D[2] * D[2]);
  if (!(L > 1e-10)) return std::nullopt;
  return pair_axis{a, b, D, L};
}

}  // namespace

void apply_pulling_pair(common_var& c, const pulling_pair& p) {
  const auto axis = axis_of(c, p);
  if (!axis) return;
  std::vector<double>* f[3] = {&c.fx, &c.fy, &c.fz};
  for (int k = 0; k < 3; ++k) {
    const double push = p.F * axis->D[k] / axis->L;
    (*f[k])[axis->b] += push;
    (*f[k])[axis->a] -= push;
  }
}

double pulling_energy(const common_var& c, const pulling_pair& p) {
  const auto axis = axis_of(c, p);
  return axis ? -p.F * axis->L : 0.0;
}

}  // namespace tbrelax
