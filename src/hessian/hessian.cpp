#include "hessian/hessian.hpp"

#include <array>
#include <cmath>
#include <stdexcept>

#include "tb/charges.hpp"
#include "tb/repulsion.hpp"
#include "tb/working_storage.hpp"

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

// The coordinate a row displaces: x, y or z of atom k / 3.
double& displaced_coordinate(common_var& c, std::size_t k) {
  std::vector<double>* q[3] = {&c.x, &c.y, &c.z};
  return (*q[k % 3])[k / 3];
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

hessian_sweep::hessian_sweep(common_var& c, const energy_model& given, bool dipoles)
    : c_(c), model_(given), dipoles_(dipoles) {
  // The evaluations' storage counts too unless a kept workspace already holds it.
  const bool held = given.workspace && given.workspace->S.rows() == c.wfunc_count;
  check_memory(hessian_storage_bytes(c.at_count) + (held ? 0 : evaluation_storage_bytes(c.wfunc_count)),
               storage_purpose(c, true));
  // The charges need the S and P of each displaced evaluation, which only a workspace keeps.
  if (!model_.workspace) model_.workspace = &local_;
  const std::size_t size = rows() * rows();
  for (auto* m : {&c.hess, &c.hesel, &c.hesrep}) m->assign(size, 0.0);
  if (dipoles_) derivatives_.assign(3 * rows(), 0.0);
  c.x0 = c.x;
  c.y0 = c.y;
  c.z0 = c.z;
}

void hessian_sweep::pass_over_until(std::size_t k) {
  if (k < next_) throw std::logic_error("Hessian rows are evaluated in ascending order");
  const double h = hessian_displacement;
  for (; next_ < k; ++next_) {
    double& coordinate = displaced_coordinate(c_, next_);
    coordinate = coordinate - h;
    replay_force_rounding(c_);
    coordinate = coordinate + 2 * h;
    replay_force_rounding(c_);
    coordinate = coordinate - h;
  }
}

std::vector<double> hessian_sweep::evaluate(std::size_t k) {
  pass_over_until(k);
  common_var& c = c_;
  const double h = hessian_displacement;
  double& coordinate = displaced_coordinate(c, k);
  coordinate = coordinate - h;
  force(c, model_);
  c.fx0 = c.felx;
  c.fy0 = c.fely;
  c.fz0 = c.felz;
  std::array<double, 3> minus{};
  if (dipoles_) minus = current_dipole(c, model_);
  coordinate = coordinate + 2 * h;
  force(c, model_);
  std::vector<double> row(rows() + (dipoles_ ? 3 : 0));
  for (int b = 0; b < c.at_count; ++b) {
    row[3 * b] = -(c.felx[b] - c.fx0[b]) * 0.5 / h;
    row[3 * b + 1] = -(c.fely[b] - c.fy0[b]) * 0.5 / h;
    row[3 * b + 2] = -(c.felz[b] - c.fz0[b]) * 0.5 / h;
  }
  if (dipoles_) {
    const std::array<double, 3> plus = current_dipole(c, model_);
    for (int i = 0; i < 3; ++i) row[rows() + i] = (plus[i] - minus[i]) * 0.5 / h;
  }
  coordinate = coordinate - h;
  next_ = k + 1;
  return row;
}

void hessian_sweep::store(std::size_t k, const std::vector<double>& row) {
  const std::size_t nat3 = rows();
  if (row.size() != nat3 + (dipoles_ ? 3 : 0)) throw std::logic_error("a Hessian row of the wrong length");
  for (std::size_t l = 0; l < nat3; ++l) c_.hesel[k + l * nat3] = row[l];
  if (dipoles_)
    for (int i = 0; i < 3; ++i) derivatives_[i + 3 * k] = row[nat3 + i];
}

void hessian_sweep::finish(std::vector<double>* dipole_derivatives) {
  pass_over_until(rows());
  common_var& c = c_;
  repulsive_part(c, model_.par);
  const std::size_t nat3 = rows(), size = nat3 * nat3;
  for (std::size_t k = 0; k < size; ++k) c.hess[k] = c.hesel[k] + c.hesrep[k];
  for (std::size_t l = 0; l < nat3; ++l)
    for (std::size_t k = 0; k <= l; ++k) {
      const double mean = 0.5 * (c.hess[k + l * nat3] + c.hess[l + k * nat3]);
      c.hess[k + l * nat3] = c.hess[l + k * nat3] = mean;
    }
  if (dipole_derivatives) *dipole_derivatives = derivatives_;
}

void hess_cre(common_var& c, const energy_model& model, std::vector<double>* dipole_derivatives) {
  hessian_sweep sweep(c, model, dipole_derivatives != nullptr);
  for (std::size_t k = 0; k < sweep.rows(); ++k) sweep.store(k, sweep.evaluate(k));
  sweep.finish(dipole_derivatives);
}

}  // namespace tbrelax
