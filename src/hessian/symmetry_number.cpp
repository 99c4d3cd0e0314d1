#include "hessian/symmetry_number.hpp"

#include <array>
#include <cmath>
#include <set>
#include <vector>

#include "hessian/inertia.hpp"

namespace tbrelax {
namespace {

using vec = std::array<double, 3>;

double dot(const vec& a, const vec& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
vec cross(const vec& a, const vec& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
double norm(const vec& a) { return std::sqrt(dot(a, a)); }

// The orthonormal frame (columns) spanned by u and the part of v across it.
std::array<vec, 3> frame(const vec& u, const vec& v) {
  vec e0 = u, e1 = v;
  const double nu = norm(u);
  for (double& q : e0) q /= nu;
  const double along = dot(e1, e0);
  for (int k = 0; k < 3; ++k) e1[k] -= along * e0[k];
  const double n1 = norm(e1);
  for (double& q : e1) q /= n1;
  return {e0, e1, cross(e0, e1)};
}

struct molecule_view {
  std::vector<vec> r;  // about the centre of mass
  std::vector<int> type;
};

// The permutation that the map r -> M r makes of the atoms, or an empty one when some image
// has no atom of its element within the tolerance.
std::vector<int> image_of(const molecule_view& m, const std::array<vec, 3>& M, double tolerance) {
  const std::size_t n = m.r.size();
  std::vector<int> perm(n, -1);
  std::vector<bool> taken(n, false);
  for (std::size_t a = 0; a < n; ++a) {
    vec image{};
    for (int k = 0; k < 3; ++k) image[k] = M[0][k] * m.r[a][0] + M[1][k] * m.r[a][1] + M[2][k] * m.r[a][2];
    for (std::size_t b = 0; b < n; ++b) {
      if (taken[b] || m.type[b] != m.type[a]) continue;
      const vec d{image[0] - m.r[b][0], image[1] - m.r[b][1], image[2] - m.r[b][2]};
      if (norm(d) < tolerance) {
        perm[a] = static_cast<int>(b);
        taken[b] = true;
        break;
      }
    }
    if (perm[a] < 0) return {};
  }
  return perm;
}

}  // namespace

int symmetry_number(const common_var& c, bool linear, double tolerance) {
  const int n = c.at_count;
  if (n < 2) return 1;
  const principal_axes p = inertia_of(c);
  molecule_view m;
  for (int a = 0; a < n; ++a) {
    m.r.push_back({c.x[a] - p.centre[0], c.y[a] - p.centre[1], c.z[a] - p.centre[2]});
    m.type.push_back(c.at_type[a]);
  }
  if (linear) {
    // A half turn about any axis across the line maps each atom to its mirror image.
    const std::array<vec, 3> inversion{vec{-1, 0, 0}, vec{0, -1, 0}, vec{0, 0, -1}};
    return image_of(m, inversion, tolerance).empty() ? 1 : 2;
  }

  // A proper rotation is fixed by where it takes two atoms that are not in line with the
  // centre: A (the farthest from the centre) and B (the farthest from the line through A).
  int A = 0;
  for (int a = 1; a < n; ++a)
    if (norm(m.r[a]) > norm(m.r[A])) A = a;
  int B = A == 0 ? 1 : 0;
  auto off_line = [&](int b) { return norm(cross(m.r[A], m.r[b])) / norm(m.r[A]); };
  for (int b = 0; b < n; ++b)
    if (b != A && off_line(b) > off_line(B)) B = b;
  const std::array<vec, 3> from = frame(m.r[A], m.r[B]);

  // Every pair (A', B') of atoms of the same elements, distances from the centre and angle
  // proposes the rotation taking the frame of (A, B) to theirs; distinct atom permutations are
  // distinct rotations.
  std::set<std::vector<int>> rotations;
  for (int a2 = 0; a2 < n; ++a2) {
    if (m.type[a2] != m.type[A] || std::abs(norm(m.r[a2]) - norm(m.r[A])) > tolerance) continue;
    for (int b2 = 0; b2 < n; ++b2) {
      if (b2 == a2 || m.type[b2] != m.type[B] || std::abs(norm(m.r[b2]) - norm(m.r[B])) > tolerance) continue;
      if (std::abs(off_line(B) - norm(cross(m.r[a2], m.r[b2])) / norm(m.r[a2])) > tolerance) continue;
      const std::array<vec, 3> to = frame(m.r[a2], m.r[b2]);
      // M = to * from^T, stored by columns.
      std::array<vec, 3> M{};
      for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) M[j][i] = to[0][i] * from[0][j] + to[1][i] * from[1][j] + to[2][i] * from[2][j];
      if (std::vector<int> perm = image_of(m, M, tolerance); !perm.empty()) rotations.insert(std::move(perm));
    }
  }
  return static_cast<int>(rotations.size());
}

}  // namespace tbrelax
