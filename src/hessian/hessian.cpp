#include "hessian/hessian.hpp"

#include <array>
#include <cmath>

#include "tb/charges.hpp"
#include "tb/repulsion.hpp"

namespace tbrelax {

separation dxdydz(int i, int j, const common_var& c) {
  separation best{c.x[j] - c.x[i], c.y[j] - c.y[i], c.z[j] - c.z[i], 0};
  best.r = std::sqrt(best.dx * best.dx + best.dy * best.dy + best.dz * best.dz);
  if (c.indper == 0 || i == j) return best;
  for (int u1 = -1; u1 <= 1; ++u1)
    for (int u2 = -1; u2 <= 1; ++u2)
      for (int u3 = -1; u3 <= 1; ++u3) {
        if (u1 == 0 && u2 == 0 && u3 == 0) continue;
        separation s{c.x[j] + u1 * c.perx[0] + u2 * c.perx[1] + u3 * c.perx[2] - c.x[i],
                     c.y[j] + u1 * c.pery[0] + u2 * c.pery[1] + u3 * c.pery[2] - c.y[i],
                     c.z[j] + u1 * c.perz[0] + u2 * c.perz[1] + u3 * c.perz[2] - c.z[i], 0};
        s.r = std::sqrt(s.dx * s.dx + s.dy * s.dy + s.dz * s.dz);
        if (s.r < best.r) best = s;
      }
  return best;
}

namespace {

std::array<double, 3> current_dipole(const common_var& c, const energy_model& model) {
  return dipole_moment(c, mulliken_charges(c, *model.workspace));
}

void electronic_part(common_var& c, const energy_model& model, std::vector<double>* dipole_derivatives) {
  const int n = c.at_count;
  const std::size_t nat3 = c.nat3;
  const double h = hessian_displacement;
  std::vector<double>* q[3] = {&c.x, &c.y, &c.z};
  for (int a = 0; a < n; ++a)
    for (int axis = 0; axis < 3; ++axis) {
      const std::size_t k = 3 * a + axis;
      double& coordinate = (*q[axis])[a];
      coordinate = coordinate - h;
      force(c, model);
      c.fx0 = c.felx;
      c.fy0 = c.fely;
      c.fz0 = c.felz;
      std::array<double, 3> minus{};
      if (dipole_derivatives) minus = current_dipole(c, model);
      coordinate = coordinate + 2 * h;
      force(c, model);
      if (dipole_derivatives) {
        const std::array<double, 3> plus = current_dipole(c, model);
        for (int i = 0; i < 3; ++i) (*dipole_derivatives)[i + 3 * k] = (plus[i] - minus[i]) * 0.5 / h;
      }
      for (int b = 0; b < n; ++b) {
        c.hesel[k + (3 * b) * nat3] = -(c.felx[b] - c.fx0[b]) * 0.5 / h;
        c.hesel[k + (3 * b + 1) * nat3] = -(c.fely[b] - c.fy0[b]) * 0.5 / h;
        c.hesel[k + (3 * b + 2) * nat3] = -(c.felz[b] - c.fz0[b]) * 0.5 / h;
      }
      coordinate = coordinate - h;
    }
}

// Second derivative of one pair energy with respect to the position of either atom.
void pair_block(const separation& s, int ta, int tb, const param& par, double P[3][3]) {
  const double beta = par.betta(ta, tb);
  const double g = -beta * par.fi0(ta, tb) * std::exp(-beta * (s.r - par.r0(ta, tb)));
  const double w = g / (s.r * s.r);
  const double d[3] = {s.dx, s.dy, s.dz};
  for (int k = 0; k < 3; ++k) {
    // Along the bond the curvature of the exponential, across it the tension g / r.
    const int u = k == 0 ? 1 : 0, v = k == 2 ? 1 : 2;
    P[k][k] = w * (-beta * (d[k] * d[k]) + (d[u] * d[u] + d[v] * d[v]) / s.r);
    for (int l = 0; l < 3; ++l)
      if (l != k) P[k][l] = w * (-beta * d[k] * d[l] - d[k] * d[l] / s.r);
  }
}

void repulsive_part(common_var& c, const param& par) {
  const int n = c.at_count;
  const std::size_t nat3 = c.nat3;
  auto at = [&](int row, int col) -> double& { return c.hesrep[row + col * nat3]; };
  for (int a = 0; a < n; ++a) {
    double diagonal[3][3] = {};
    for (int b = 0; b < n; ++b) {
      if (b == a) continue;
      double P[3][3];
      pair_block(dxdydz(a, b, c), c.at_type[a], c.at_type[b], par, P);
      for (int k = 0; k < 3; ++k)
        for (int l = 0; l < 3; ++l) {
          diagonal[k][l] += P[k][l];
          at(3 * a + k, 3 * b + l) = -P[k][l];
        }
    }
    for (int k = 0; k < 3; ++k)
      for (int l = 0; l < 3; ++l) at(3 * a + k, 3 * a + l) = diagonal[k][l];
  }
}

}  // namespace

void hess_cre(common_var& c, const energy_model& given, std::vector<double>* dipole_derivatives) {
  // The charges need the S and P of each displaced evaluation, which only a workspace keeps.
  evaluation_workspace local;
  energy_model model = given;
  if (!model.workspace) model.workspace = &local;
  if (dipole_derivatives) dipole_derivatives->assign(3 * static_cast<std::size_t>(c.nat3), 0.0);
  const std::size_t size = static_cast<std::size_t>(c.nat3) * c.nat3;
  for (auto* m : {&c.hess, &c.hesel, &c.hesrep}) m->assign(size, 0.0);
  c.x0 = c.x;
  c.y0 = c.y;
  c.z0 = c.z;
  electronic_part(c, model, dipole_derivatives);
  repulsive_part(c, model.par);
  for (std::size_t k = 0; k < size; ++k) c.hess[k] = c.hesel[k] + c.hesrep[k];
  const std::size_t nat3 = c.nat3;
  for (std::size_t l = 0; l < nat3; ++l)
    for (std::size_t k = 0; k <= l; ++k) {
      const double mean = 0.5 * (c.hess[k + l * nat3] + c.hess[l + k * nat3]);
      c.hess[k + l * nat3] = c.hess[l + k * nat3] = mean;
    }
}

}  // namespace tbrelax
