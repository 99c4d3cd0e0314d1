#include "optimize/model_hessian.hpp"

#include <cmath>
#include <functional>
#include <numbers>

namespace tbrelax {
namespace {

// Lindh's parameters (bohr^-2 and bohr) by the periods of the two atoms, and his force
// constants (hartree/bohr^2, hartree/rad^2), converted to angstrom and eV below.
constexpr double alpha[2][2] = {{1.0000, 0.3949}, {0.3949, 0.2800}};
constexpr double r_ref[2][2] = {{1.35, 2.10}, {2.10, 2.87}};
constexpr double bohr = 0.52917721067, hartree = 27.211386245988;
constexpr double k_stretch = 0.45 * hartree / (bohr * bohr), k_bend = 0.15 * hartree, k_torsion = 0.005 * hartree;
// Terms whose decay factor falls below this are left out: they add nothing a check would see.
constexpr double smallest_term = 1e-3;
// A bend this close to straight (sine of the angle) has no direction of its own.
constexpr double straight = 0.05;

using vec3 = std::array<double, 3>;

vec3 minus(const vec3& a, const vec3& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
double dot3(const vec3& a, const vec3& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
vec3 cross(const vec3& a, const vec3& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
double norm(const vec3& a) { return std::sqrt(dot3(a, a)); }

double angle(const vec3& a, const vec3& b, const vec3& c) {
  const vec3 u = minus(a, b), v = minus(c, b);
  return std::atan2(norm(cross(u, v)), dot3(u, v));
}

double dihedral(const vec3& a, const vec3& b, const vec3& c, const vec3& d) {
  const vec3 b1 = minus(b, a), b2 = minus(c, b), b3 = minus(d, c);
  const vec3 n1 = cross(b1, b2), n2 = cross(b2, b3);
  return std::atan2(norm(b2) * dot3(b1, n2), dot3(n1, n2));
}

// Adds k g g^T for the gradient g of an internal coordinate of the atoms `at`, the gradient by
// central differences (the coordinates are smooth where they are used).
void add_term(std::vector<double>& H, std::size_t n3, const std::vector<vec3>& r, const std::vector<int>& at, double k,
              const std::function<double(const std::vector<vec3>&)>& q) {
  constexpr double h = 1e-5;
  std::vector<vec3> p;
  for (int a : at) p.push_back(r[a]);
  std::vector<double> g(3 * at.size());
  for (std::size_t i = 0; i < at.size(); ++i)
    for (int axis = 0; axis < 3; ++axis) {
      const double keep = p[i][axis];
      p[i][axis] = keep + h;
      const double up = q(p);
      p[i][axis] = keep - h;
      double down = q(p);
      p[i][axis] = keep;
      double change = up - down;
      if (change > std::numbers::pi) change -= 2 * std::numbers::pi;  // a dihedral across its branch cut
      if (change < -std::numbers::pi) change += 2 * std::numbers::pi;
      g[3 * i + axis] = change / (2 * h);
    }
  for (std::size_t i = 0; i < g.size(); ++i)
    for (std::size_t j = 0; j < g.size(); ++j)
      H[(3 * at[i / 3] + i % 3) * n3 + 3 * at[j / 3] + j % 3] += k * g[i] * g[j];
}

}  // namespace

std::vector<double> model_hessian(const std::vector<vec3>& r, const std::vector<int>& period) {
  const int n = static_cast<int>(r.size());
  const std::size_t n3 = 3 * r.size();
  std::vector<double> H(n3 * n3, 0.0);
  std::vector<double> rho(static_cast<std::size_t>(n) * n, 0.0);
  std::vector<std::vector<int>> near(n);  // the atoms each atom has a term with
  for (int a = 0; a < n; ++a)
    for (int b = 0; b < n; ++b) {
      if (a == b) continue;
      const int i = period[a] - 1, j = period[b] - 1;
      const double d = norm(minus(r[a], r[b])) / bohr;
      rho[a * n + b] = std::exp(alpha[i][j] * (r_ref[i][j] * r_ref[i][j] - d * d));
      if (rho[a * n + b] > smallest_term) near[a].push_back(b);
    }
  const auto distance = [](const std::vector<vec3>& p) { return norm(minus(p[0], p[1])); };
  const auto bend = [](const std::vector<vec3>& p) { return angle(p[0], p[1], p[2]); };
  const auto torsion = [](const std::vector<vec3>& p) { return dihedral(p[0], p[1], p[2], p[3]); };
  const auto bent = [&](int a, int b, int c) { return std::sin(angle(r[a], r[b], r[c])) > straight; };
  for (int a = 0; a < n; ++a)
    for (int b : near[a]) {
      if (a < b) add_term(H, n3, r, {a, b}, k_stretch * rho[a * n + b], distance);
      for (int c : near[b]) {
        if (c == a) continue;
        const double ab_bc = rho[a * n + b] * rho[b * n + c];
        if (a < c && ab_bc > smallest_term && bent(a, b, c)) add_term(H, n3, r, {a, b, c}, k_bend * ab_bc, bend);
        for (int d : near[c]) {
          if (d == b || d == a || a > d) continue;
          const double chain = ab_bc * rho[c * n + d];
          if (chain > smallest_term && bent(a, b, c) && bent(b, c, d))
            add_term(H, n3, r, {a, b, c, d}, k_torsion * chain, torsion);
        }
      }
    }
  return H;
}

}  // namespace tbrelax
