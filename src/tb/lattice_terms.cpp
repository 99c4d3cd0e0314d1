#include "tb/lattice_terms.hpp"

#include <algorithm>
#include <cmath>
#include <string>

#include "state/coincident_atoms.hpp"
#include "state/errors.hpp"
#include "tb/assembly.hpp"
#include "tb/repulsion.hpp"

namespace tbrelax {
namespace {

using vec3 = std::array<double, 3>;

double dot(const vec3& u, const vec3& v) { return u[0] * v[0] + u[1] * v[1] + u[2] * v[2]; }

// The largest of the pair's terms at distance R along x, where every radial integral (s-s,
// s-p both ways, p-p sigma and pi) appears with its full size.
double largest_pair_term(int ta, int tb, double R, const param& par, const overlap_table& table) {
  pair_block block{};
  pair_elements(ta, tb, {0, 0, 0}, {R, 0, 0}, par, table, block);
  double largest = repulsive_pair_energy(ta, tb, R, par);
  for (int mu = 0; mu < 4; ++mu)
    for (int nu = 0; nu < 4; ++nu)
      largest = std::max({largest, 30.0 * std::abs(block.s[mu][nu]), std::abs(block.h[mu][nu])});
  return largest;
}

// |n_i| <= reach |d_i| for every translation T = sum n_i a_i with |T| <= reach, d_i the dual
// vectors of the periodic axes within their span (d_i . a_j = delta_ij). Zero on other axes.
std::array<long, 3> translation_bounds(const periodic_cell& cell, double reach) {
  std::array<int, 3> axes{};
  int p = 0;
  for (int i = 0; i < 3; ++i)
    if (cell.pbc[i]) axes[p++] = i;
  // Gram matrix G of the periodic vectors and its inverse: d_i = sum_j (G^-1)_ij a_j, so
  // |d_i|^2 = (G^-1)_ii.
  double G[3][3] = {}, inv[3][3] = {};
  for (int i = 0; i < p; ++i)
    for (int j = 0; j < p; ++j) G[i][j] = dot(cell.a[axes[i]], cell.a[axes[j]]);
  double det = 0;
  if (p == 1) {
    det = G[0][0];
    inv[0][0] = 1 / det;
  } else if (p == 2) {
    det = G[0][0] * G[1][1] - G[0][1] * G[1][0];
    inv[0][0] = G[1][1] / det;
    inv[1][1] = G[0][0] / det;
  } else if (p == 3) {
    for (int i = 0; i < 3; ++i) {
      const int j = (i + 1) % 3, k = (i + 2) % 3;
      inv[i][i] = G[j][j] * G[k][k] - G[j][k] * G[k][j];
    }
    det = G[0][0] * inv[0][0] + G[0][1] * (G[1][2] * G[2][0] - G[1][0] * G[2][2]) +
          G[0][2] * (G[1][0] * G[2][1] - G[1][1] * G[2][0]);
    for (int i = 0; i < 3; ++i) inv[i][i] /= det;
  }
  std::array<long, 3> bound{0, 0, 0};
  for (int i = 0; i < p; ++i) {
    const double n = reach * std::sqrt(inv[i][i]);
    if (!(det > 0) || !std::isfinite(n) || n > double(max_lattice_translations))
      throw input_rejected("the periodic lattice vectors span no cell: the lattice sums would need an unbounded "
                           "number of images");
    bound[axes[i]] = long(std::ceil(n));
  }
  return bound;
}

std::string atom_name(int a) { return "atom " + std::to_string(a + 1); }

// The truncation radius of every element pair, the largest, and the translation bounds they
// need for c in `cell`; throws input_rejected for a cell that needs too many.
struct lattice_reach {
  double radius[5][5] = {};
  std::array<long, 3> bound{};
};

lattice_reach reach_of(const common_var& c, const periodic_cell& cell, const param& par) {
  lattice_reach r;
  double largest_radius = 0;
  for (int ta = 1; ta <= 4; ++ta)
    for (int tb = ta; tb <= 4; ++tb) {
      r.radius[ta][tb] = r.radius[tb][ta] = truncation_radius(ta, tb, par);
      largest_radius = std::max(largest_radius, r.radius[ta][tb]);
    }
  // Every difference r_b - r_a lies within `spread` of zero: translations beyond the radius plus
  // the spread reach no image.
  double spread = 0;
  for (int a = 0; a < c.at_count; ++a)
    for (int b = a + 1; b < c.at_count; ++b)
      spread = std::max(spread, std::hypot(c.x[b] - c.x[a], c.y[b] - c.y[a], c.z[b] - c.z[a]));
  r.bound = translation_bounds(cell, largest_radius + spread);
  const double count = double(2 * r.bound[0] + 1) * double(2 * r.bound[1] + 1) * double(2 * r.bound[2] + 1);
  if (count > double(max_lattice_translations))
    throw input_rejected("the cell is too small: the lattice sums would need " + std::to_string(long(count)) +
                         " translations (at most " + std::to_string(max_lattice_translations) + ")");
  return r;
}

}  // namespace

double truncation_radius(int ta, int tb, const param& par) {
  const overlap_table table(par);
  constexpr double step = 0.05, farthest = 60.0;
  double R = farthest;
  while (R > step && largest_pair_term(ta, tb, R - step, par, table) < neglected_term_bound) R -= step;
  return R;
}

void check_lattice_reach(const common_var& c, const periodic_cell& cell, const param& par) {
  reach_of(c, cell, par);
}

std::vector<lattice_term> lattice_terms(const common_var& c, const periodic_cell& cell, const param& par) {
  const lattice_reach reach_all = reach_of(c, cell, par);
  const auto& radius = reach_all.radius;
  const std::array<long, 3>& bound = reach_all.bound;
  std::vector<vec3> translations;
  std::vector<std::array<int, 3>> indices;
  for (long i = -bound[0]; i <= bound[0]; ++i)
    for (long j = -bound[1]; j <= bound[1]; ++j)
      for (long k = -bound[2]; k <= bound[2]; ++k) {
        vec3 T{};
        for (int d = 0; d < 3; ++d) T[d] = double(i) * cell.a[0][d] + double(j) * cell.a[1][d] + double(k) * cell.a[2][d];
        translations.push_back(T);
        indices.push_back({int(i), int(j), int(k)});
      }

  std::vector<lattice_term> terms;
  for (int a = 0; a < c.at_count; ++a)
    for (int b = a; b < c.at_count; ++b) {
      const double reach = radius[c.at_type[a]][c.at_type[b]];
      const vec3 d{c.x[b] - c.x[a], c.y[b] - c.y[a], c.z[b] - c.z[a]};
      for (std::size_t t = 0; t < translations.size(); ++t) {
        const std::array<int, 3>& n = indices[t];
        if (a == b) {
          // One of T and -T: the first non-zero index positive.
          const int lead = n[0] != 0 ? n[0] : (n[1] != 0 ? n[1] : n[2]);
          if (lead <= 0) continue;
        }
        const vec3& T = translations[t];
        const double R = std::hypot(d[0] + T[0], d[1] + T[1], d[2] + T[2]);
        if (R < coincidence_distance)
          throw input_rejected(a == b ? atom_name(a) + " coincides with its own image"
                                      : atom_name(a) + " coincides with an image of " + atom_name(b));
        if (R <= reach) terms.push_back({a, b, n, T});
      }
    }
  return terms;
}

}  // namespace tbrelax
