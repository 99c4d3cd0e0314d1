#include "driver/elastic_constants.hpp"

#include <cmath>

namespace tbrelax {
namespace {

using vec3 = std::array<double, 3>;
using mat = std::array<vec3, 3>;

constexpr int voigt_i[6] = {0, 1, 2, 1, 0, 0}, voigt_j[6] = {0, 1, 2, 2, 2, 1};

vec3 times(const mat& M, const vec3& r) {
  return {M[0][0] * r[0] + M[0][1] * r[1] + M[0][2] * r[2], M[1][0] * r[0] + M[1][1] * r[1] + M[1][2] * r[2],
          M[2][0] * r[0] + M[2][1] * r[1] + M[2][2] * r[2]};
}

mat inverse_transpose(const mat& M) {
  const double det = M[0][0] * (M[1][1] * M[2][2] - M[1][2] * M[2][1]) -
                     M[0][1] * (M[1][0] * M[2][2] - M[1][2] * M[2][0]) +
                     M[0][2] * (M[1][0] * M[2][1] - M[1][1] * M[2][0]);
  mat out;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) {
      const int i1 = (i + 1) % 3, i2 = (i + 2) % 3, j1 = (j + 1) % 3, j2 = (j + 2) % 3;
      out[i][j] = (M[i1][j1] * M[i2][j2] - M[i1][j2] * M[i2][j1]) / det;  // cofactor / det
    }
  return out;
}

struct strained_stress {
  voigt stress;
  std::int64_t evaluations;
  bool converged;
};

// The stress after the deformation 1 + e of the cell and every atom, the atoms relaxed.
strained_stress stress_under(const common_var& start, const periodic_model& model, const mat& e, double fmax) {
  mat D = e;
  for (int i = 0; i < 3; ++i) D[i][i] += 1;
  common_var c = start;
  for (int a = 0; a < c.at_count; ++a) {
    const vec3 r = times(D, {c.x[a], c.y[a], c.z[a]});
    c.x[a] = r[0], c.y[a] = r[1], c.z[a] = r[2];
  }
  periodic_model strained = model;
  for (int i = 0; i < 3; ++i)
    if (strained.settings.cell.pbc[i]) strained.settings.cell.a[i] = times(D, model.settings.cell.a[i]);
  const mat K = inverse_transpose(D);
  for (kpoint& k : strained.settings.kpoints) k.k = times(K, k.k);
  cell_relaxation_settings s;  // nothing of the cell free: the atoms relax alone
  s.fmax = fmax;
  s.smax = INFINITY;
  const cell_relaxation_result r = relax_with_cell(c, strained, s);
  return {r.stress, r.evaluations, r.reason == stop_reason::converged};
}

}  // namespace

elastic_result elastic_constants(const common_var& c, const periodic_model& model, double strain, double fmax) {
  elastic_result out;
  out.free = periodic_components(model.settings.cell);
  for (int j = 0; j < 6; ++j) {
    if (!out.free[j]) continue;
    // Engineering shear strain: e_yz = e_zy = h / 2.
    mat e{};
    const double h = j < 3 ? strain : 0.5 * strain;
    e[voigt_i[j]][voigt_j[j]] = h;
    e[voigt_j[j]][voigt_i[j]] = h;
    const strained_stress up = stress_under(c, model, e, fmax);
    for (vec3& row : e)
      for (double& q : row) q = -q;
    const strained_stress down = stress_under(c, model, e, fmax);
    out.evaluations += up.evaluations + down.evaluations;
    out.converged = out.converged && up.converged && down.converged;
    for (int i = 0; i < 6; ++i)
      if (out.free[i]) out.C[i][j] = (up.stress[i] - down.stress[i]) / (2 * strain);
  }
  return out;
}

elastic_moduli derived_moduli(const voigt_matrix& C, const std::array<bool, 6>& free, int periodic_axes) {
  elastic_moduli m;
  if (periodic_axes == 3) {
    m.bulk = (C[0][0] + C[1][1] + C[2][2] + 2 * (C[0][1] + C[0][2] + C[1][2])) / 9;
    m.shear = (C[0][0] + C[1][1] + C[2][2] - (C[0][1] + C[0][2] + C[1][2]) + 3 * (C[3][3] + C[4][4] + C[5][5])) / 15;
    m.young = 9 * m.bulk * m.shear / (3 * m.bulk + m.shear);
    m.poisson = (3 * m.bulk - 2 * m.shear) / (2 * (3 * m.bulk + m.shear));
    return m;
  }
  int axes[2], count = 0;
  for (int v = 0; v < 3; ++v)
    if (free[v] && count < 2) axes[count++] = v;
  if (periodic_axes == 1) {
    m.young = C[axes[0]][axes[0]];
    return m;
  }
  const int p = axes[0], q = axes[1];
  const int pq = 6 - p - q;  // the shear between them: xy (5), xz (4) or yz (3)
  const double cpp = C[p][p], cqq = C[q][q], cpq = C[p][q];
  m.young = (cpp * cqq - cpq * cpq) / cqq;
  m.poisson = cpq / cqq;
  m.shear = C[pq][pq];
  m.bulk = 0.5 * (cpp + cpq);
  return m;
}

}  // namespace tbrelax
