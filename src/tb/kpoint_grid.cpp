#include "tb/kpoint_grid.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <stdexcept>

namespace tbrelax {
namespace {

constexpr double two_pi = 2 * std::numbers::pi;

vector3 cross(const vector3& u, const vector3& v) {
  return {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]};
}
double dot(const vector3& u, const vector3& v) { return u[0] * v[0] + u[1] * v[1] + u[2] * v[2]; }
vector3 unit(const vector3& u) {
  const double l = std::sqrt(dot(u, u));
  return {u[0] / l, u[1] / l, u[2] / l};
}

// A unit vector perpendicular to the unit vector u: u crossed with the Cartesian axis least
// aligned with it.
vector3 perpendicular(const vector3& u) {
  int least = 0;
  for (int k = 1; k < 3; ++k)
    if (std::abs(u[k]) < std::abs(u[least])) least = k;
  vector3 e{};
  e[least] = 1;
  return unit(cross(u, e));
}

// The lattice vectors with those of the non-periodic axes replaced by orthonormal completions.
std::array<vector3, 3> completed_vectors(const periodic_cell& cell) {
  std::array<vector3, 3> a = cell.a;
  int periodic[3], open[3], np = 0, no = 0;
  for (int i = 0; i < 3; ++i) (cell.pbc[i] ? periodic[np++] : open[no++]) = i;
  if (np == 0) {
    a = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
  } else if (np == 1) {
    const vector3 u = unit(a[periodic[0]]);
    a[open[0]] = perpendicular(u);
    a[open[1]] = cross(u, a[open[0]]);
  } else if (np == 2) {
    a[open[0]] = unit(cross(a[periodic[0]], a[periodic[1]]));
  }
  return a;
}

}  // namespace

std::array<vector3, 3> reciprocal_vectors(const periodic_cell& cell) {
  const auto a = completed_vectors(cell);
  const double volume = dot(a[0], cross(a[1], a[2]));
  std::array<vector3, 3> b;
  for (int i = 0; i < 3; ++i) {
    const vector3 c = cross(a[(i + 1) % 3], a[(i + 2) % 3]);
    for (int k = 0; k < 3; ++k) b[i][k] = two_pi * c[k] / volume;
  }
  return b;
}

std::string kpoint_grid_fault(const periodic_cell& cell, std::array<int, 3> n, std::array<double, 3> shift) {
  static constexpr const char* axis[] = {"first", "second", "third"};
  double points = 1;
  for (int i = 0; i < 3; ++i) {
    const std::string which = std::string("the ") + axis[i] + " axis";
    if (n[i] < 1) return "k-point counts must be at least 1; " + which + " has " + std::to_string(n[i]);
    if (!std::isfinite(shift[i])) return "the k-point shift of " + which + " is not a finite number";
    if (!cell.pbc[i] && n[i] != 1)
      return which + " is not periodic: its k-point count must be 1, not " + std::to_string(n[i]);
    if (!cell.pbc[i] && shift[i] != 0) return which + " is not periodic: its k-point shift must be 0";
    points *= n[i];
  }
  if (points > double(max_kpoints))
    return "the grid holds " + std::to_string(long(points)) + " k-points; at most " + std::to_string(max_kpoints) +
           " are allowed";
  return "";
}

std::vector<kpoint> kpoint_grid(const periodic_cell& cell, std::array<int, 3> n, std::array<double, 3> shift) {
  if (const std::string fault = kpoint_grid_fault(cell, n, shift); !fault.empty()) throw std::invalid_argument(fault);
  const auto b = reciprocal_vectors(cell);
  const int count = n[0] * n[1] * n[2];
  const double weight = 1.0 / count;

  // With every 2 s_i whole, point m has the doubled coordinates q_i = 2 m_i + 2 s_i, whole
  // numbers taken modulo 2 n_i; its -k is the point with q'_i = -q_i, that is
  // m'_i = (-2 m_i - 2 s_i) / 2 modulo n_i where that is whole.
  bool halves = true;
  std::array<long, 3> twice_shift{};
  for (int i = 0; i < 3; ++i) {
    halves = halves && std::round(2 * shift[i]) == 2 * shift[i];
    if (halves) twice_shift[i] = std::lround(2 * shift[i]);
  }
  const auto partner = [&](const std::array<int, 3>& m) {
    int index = 0;
    for (int i = 0; i < 3; ++i) {
      const long twice = -2L * m[i] - 2 * twice_shift[i];  // -q_i - 2 s_i = 2 m'_i (mod 2 n_i)
      const long period = 2L * n[i];
      const long reduced = ((twice % period) + period) % period;
      if (reduced % 2 != 0) return -1;
      index = index * n[i] + int(reduced / 2);
    }
    return index;
  };

  std::vector<kpoint> points;
  std::vector<int> kept_at(count, -1);  // grid index -> position in points
  for (int index = 0; index < count; ++index) {
    const std::array<int, 3> m = {index / (n[1] * n[2]), (index / n[2]) % n[1], index % n[2]};
    const int other = halves ? partner(m) : -1;
    if (other >= 0 && other < index && kept_at[other] >= 0) {
      points[kept_at[other]].weight = 2 * weight;
      continue;
    }
    kpoint p{{0, 0, 0}, weight, {}};
    for (int i = 0; i < 3; ++i) {
      p.fraction[i] = (m[i] + shift[i]) / n[i];
      for (int k = 0; k < 3; ++k) p.k[k] += p.fraction[i] * b[i][k];
    }
    kept_at[index] = int(points.size());
    points.push_back(p);
  }
  return points;
}

std::array<int, 3> default_kpoint_grid(const periodic_cell& cell, double spacing) {
  const auto b = reciprocal_vectors(cell);
  std::array<int, 3> n{1, 1, 1};
  for (int i = 0; i < 3; ++i)
    if (cell.pbc[i]) {
      // A length that is a whole number of spacings up to rounding needs no extra point.
      const double points = std::sqrt(dot(b[i], b[i])) / spacing * (1 - 1e-12);
      n[i] = std::max(1, int(std::min(std::ceil(points), 1e6)));
    }
  return n;
}

}  // namespace tbrelax
