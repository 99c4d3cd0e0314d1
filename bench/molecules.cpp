#include "bench/molecules.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <stdexcept>
#include <utility>

#include "bench/geometry.hpp"
#include "state/element.hpp"

namespace tbrelax::bench {
namespace {

constexpr double aromatic_cc = 1.42;  // angstrom
constexpr double single_cc = 1.53;
constexpr double ch_bond = 1.09;
const double tetrahedral = std::acos(-1.0 / 3.0);

void name_formula(molecule_spec& m) {
  const auto carbons = std::count(m.types.begin(), m.types.end(), carbon);
  m.formula = "C" + std::to_string(carbons) + "H" + std::to_string(m.types.size() - carbons);
}

// Carbon k of the zigzag (k may lie outside the chain: where a hydrogen points).
vec3 chain_site(int k) {
  const double dx = single_cc * std::sin(tetrahedral / 2), dy = single_cc * std::cos(tetrahedral / 2);
  return {k * dx, (((k % 2) + 2) % 2) * dy, 0.0};
}

// Ring centres i a1 + j a2 of the honeycomb, |.|^2 = 3 a^2 q with q = i^2 + ij + j^2.
int ring_norm(int i, int j) { return i * i + i * j + j * j; }

// The flake of the rings with q <= q_max.
molecule_spec flake_of_norm(int q_max) {
  molecule_spec m;
  m.family = "flake";
  const double a = aromatic_cc, h = std::sqrt(3.0) * a / 2;
  // Vertices on the grid (x, y) = (kx h, ky a / 2), merged where rings share them.
  std::map<std::pair<int, int>, int> vertex;
  std::vector<vec3> carbons;
  const int reach = static_cast<int>(std::sqrt(2.0 * q_max)) + 1;
  const int corner[6][2] = {{1, 1}, {0, 2}, {-1, 1}, {-1, -1}, {0, -2}, {1, -1}};
  for (int i = -reach; i <= reach; ++i)
    for (int j = -reach; j <= reach; ++j) {
      if (ring_norm(i, j) > q_max) continue;
      const int cx = 2 * i + j, cy = 3 * j;  // the centre on the vertex grid
      for (const auto& v : corner) {
        const std::pair<int, int> key{cx + v[0], cy + v[1]};
        if (vertex.emplace(key, static_cast<int>(carbons.size())).second)
          carbons.push_back({key.first * h, key.second * a / 2, 0.0});
      }
    }
  for (const vec3& r : carbons) add_atom(m, carbon, r);
  // A carbon bonded to two carbons carries a hydrogen on the outer bisector.
  for (const vec3& r : carbons) {
    vec3 sum{0, 0, 0};
    int bonds = 0;
    for (const vec3& s : carbons) {
      const vec3 d = s - r;
      const double len = std::sqrt(d[0] * d[0] + d[1] * d[1]);
      if (len > 0.1 && len < 1.1 * a) {
        sum = sum + unit(d);
        ++bonds;
      }
    }
    if (bonds == 2) add_atom(m, hydrogen, r - ch_bond * unit(sum));
  }
  name_formula(m);
  return m;
}

// Every q = i^2 + ij + j^2 up to q_max, ascending.
std::vector<int> ring_norms(int q_max) {
  std::vector<int> norms;
  // q >= (i^2 + j^2) / 2 bounds the search.
  const int reach = static_cast<int>(std::sqrt(2.0 * q_max)) + 1;
  for (int i = -reach; i <= reach; ++i)
    for (int j = -reach; j <= reach; ++j)
      if (ring_norm(i, j) <= q_max) norms.push_back(ring_norm(i, j));
  std::sort(norms.begin(), norms.end());
  norms.erase(std::unique(norms.begin(), norms.end()), norms.end());
  return norms;
}

}  // namespace

void add_atom(molecule_spec& m, std::int32_t type, const std::array<double, 3>& r) {
  m.types.push_back(type);
  m.positions.push_back(r);
  m.basis_size += basis_size_of(type);
}

molecule_spec alkane(int carbons) {
  if (carbons < 1) throw std::invalid_argument("an alkane needs at least one carbon");
  molecule_spec m;
  m.family = "alkane";
  for (int k = 0; k < carbons; ++k) add_atom(m, carbon, chain_site(k));
  const double half = tetrahedral / 2;
  for (int k = 0; k < carbons; ++k) {
    const vec3 c = chain_site(k);
    const vec3 u1 = unit(chain_site(k - 1) - c), u2 = unit(chain_site(k + 1) - c);
    // Two hydrogens above and below the chain's plane, on the far side of the bisector.
    const vec3 out = -1.0 * unit(u1 + u2), up = unit(cross(u1, u2));
    add_atom(m, hydrogen, c + ch_bond * (std::cos(half) * out + std::sin(half) * up));
    add_atom(m, hydrogen, c + ch_bond * (std::cos(half) * out - std::sin(half) * up));
    // The chain's ends: a hydrogen where the next carbon would be.
    if (k == 0) add_atom(m, hydrogen, c + ch_bond * u1);
    if (k == carbons - 1) add_atom(m, hydrogen, c + ch_bond * u2);
  }
  name_formula(m);
  return m;
}

molecule_spec flake(double radius) {
  const double unit_area = 3 * aromatic_cc * aromatic_cc;
  return flake_of_norm(static_cast<int>(std::floor(radius * radius / unit_area + 1e-9)));
}

molecule_spec molecule_near(const std::string& family, int basis_size) {
  if (family == "alkane") return alkane(std::max(1, static_cast<int>(std::lround((basis_size - 2) / 6.0))));
  if (family != "flake") throw std::invalid_argument("unknown molecule family '" + family + "'");
  // Grow the flake ring shell by ring shell until it passes the target; keep the closer one.
  molecule_spec best = flake_of_norm(0);
  for (int q : ring_norms(basis_size / 4 + 16)) {
    molecule_spec next = flake_of_norm(q);
    if (std::abs(next.basis_size - basis_size) < std::abs(best.basis_size - basis_size)) best = std::move(next);
    else if (next.basis_size > basis_size) break;
  }
  return best;
}

molecule_spec coronene() { return flake(2.5); }

}  // namespace tbrelax::bench
