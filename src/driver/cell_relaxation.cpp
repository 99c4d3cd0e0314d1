#include "driver/cell_relaxation.hpp"

#include <cmath>
#include <deque>
#include <stdexcept>

#include "optimize/log_deformation.hpp"
#include "state/errors.hpp"

namespace tbrelax {
namespace {

using vec3 = std::array<double, 3>;

// Voigt component k as the Cartesian pair (i, j).
constexpr int voigt_i[6] = {0, 1, 2, 1, 0, 0}, voigt_j[6] = {0, 1, 2, 2, 2, 1};

// The cell fell below a tenth of its starting size.
struct cell_collapse {};

vec3 deform(const mat3& F, const vec3& r) {
  vec3 out{};
  for (int i = 0; i < 3; ++i) out[i] = F[i][0] * r[0] + F[i][1] * r[1] + F[i][2] * r[2];
  return out;
}

// What one evaluation leaves for the stop test, the listener and the end of the run.
struct point_record {
  std::vector<double> x;
  std::vector<double> rx, ry, rz, fx, fy, fz;
  periodic_cell cell;
  periodic_evaluation evaluation;
  voigt stress{};
  double F = 0, H = 0;
  double largest_force = 0;   // free atoms, Cartesian
  double largest_stress = 0;  // free components of sigma + p
};

class cell_objective final : public objective {
 public:
  cell_objective(common_var& c, const periodic_model& model, const cell_relaxation_settings& s)
      : c_(c), model_(model), s_(s), start_cell_(model.settings.cell), settings_(model.settings),
        fixed_(std::size_t(c.at_count), false), factor_(std::max(1, c.at_count)),
        start_measure_(periodic_measure(model.settings.cell)) {
    for (int a : s.fixed) fixed_[a] = true;
    for (int a = 0; a < c.at_count; ++a) start_x_.insert(start_x_.end(), {c.x[a], c.y[a], c.z[a]});
    start_x_.insert(start_x_.end(), 6, 0.0);
  }

  const std::vector<double>& start() const { return start_x_; }

  search_point evaluate(std::vector<double> x) override {
    const std::size_t n3 = 3 * std::size_t(c_.at_count);
    for (int a = 0; a < c_.at_count; ++a)
      if (fixed_[a])
        for (int k = 0; k < 3; ++k) x[3 * a + k] = start_x_[3 * a + k];
    project(&x[n3]);
    mat3 U{};
    for (int v = 0; v < 6; ++v) U[voigt_i[v]][voigt_j[v]] = U[voigt_j[v]][voigt_i[v]] = x[n3 + v] / factor_;
    const mat3 F = symmetric_exp(U);
    mat3 minus_U = U;
    for (auto& row : minus_U)
      for (double& q : row) q = -q;
    const mat3 F_inv = symmetric_exp(minus_U);

    point_record r;
    r.cell = start_cell_;
    for (int i = 0; i < 3; ++i)
      if (r.cell.pbc[i]) r.cell.a[i] = deform(F, start_cell_.a[i]);
    if (periodic_measure(r.cell) < 0.1 * start_measure_) throw cell_collapse{};
    for (int a = 0; a < c_.at_count; ++a) {
      const vec3 p = deform(F, {x[3 * a], x[3 * a + 1], x[3 * a + 2]});
      c_.x[a] = p[0], c_.y[a] = p[1], c_.z[a] = p[2];
    }
    // The same fractional k-points in the deformed cell: k' = F^-T k keeps every k.T.
    settings_.cell = r.cell;
    for (std::size_t k = 0; k < settings_.kpoints.size(); ++k)
      settings_.kpoints[k].k = deform(F_inv, model_.settings.kpoints[k].k);
    ++evaluations_;
    if (model_.interruption_check) model_.interruption_check();
    r.evaluation = evaluate_periodic_finite(c_, model_.par, settings_, model_.solver);

    // H = F + p V. Under dF (of the deformation) every separation moves by dF F^-1 d, so
    // dH = sum_ij M_ij (dF F^-1)_ij with M = dF/deps + p V 1, and dH/dF = M F^-T.
    const double V = cell_volume(r.cell);
    r.F = r.evaluation.free_energy;
    r.H = r.F + s_.pressure * V;
    mat3 M = r.evaluation.strain_derivative;
    for (int i = 0; i < 3; ++i) M[i][i] += s_.pressure * V;
    mat3 G{};
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j)
        for (int k = 0; k < 3; ++k) G[i][j] += M[i][k] * F_inv[j][k];
    const mat3 dU = exp_gradient(U, G);

    search_point p;
    p.energy = p.value = r.H;
    p.force.assign(x.size(), 0.0);
    for (int a = 0; a < c_.at_count; ++a) {
      if (fixed_[a]) continue;
      const vec3 f{c_.fx[a], c_.fy[a], c_.fz[a]};
      r.largest_force = std::max(r.largest_force, std::hypot(f[0], f[1], f[2]));
      const vec3 g = deform(F, f);  // F^T f, F symmetric
      for (int k = 0; k < 3; ++k) p.force[3 * a + k] = g[k];
    }
    for (int v = 0; v < 6; ++v) {
      const int i = voigt_i[v], j = voigt_j[v];
      p.force[n3 + v] = -(i == j ? dU[i][i] : dU[i][j] + dU[j][i]) / factor_;
    }
    project(&p.force[n3]);

    r.stress = stress_of(r.evaluation, r.cell);
    voigt load = r.stress;
    for (int i = 0; i < 3; ++i) load[i] += s_.pressure;
    project(load.data());
    for (double q : load) r.largest_stress = std::max(r.largest_stress, std::abs(q));
    r.rx = c_.x, r.ry = c_.y, r.rz = c_.z, r.fx = c_.fx, r.fy = c_.fy, r.fz = c_.fz;
    r.x = x;
    remember(std::move(r));
    p.x = std::move(x);
    return p;
  }

  // The record of the point at x (one of the latest evaluations).
  const point_record* find(const std::vector<double>& x) const {
    for (const point_record& r : recent_)
      if (r.x == x) return &r;
    return nullptr;
  }

  // Puts the point's atoms, forces (zero on fixed atoms) and cell into c.
  void publish(const point_record& r) {
    c_.x = r.rx, c_.y = r.ry, c_.z = r.rz, c_.fx = r.fx, c_.fy = r.fy, c_.fz = r.fz;
    for (int a = 0; a < c_.at_count; ++a)
      if (fixed_[a]) c_.fx[a] = c_.fy[a] = c_.fz[a] = 0;
  }

 private:
  // Masked components to zero; isotropic: the free diagonal ones to their mean, no shear.
  void project(double* v) const {
    for (int k = 0; k < 6; ++k)
      if (!s_.free[k] || (s_.isotropic && k >= 3)) v[k] = 0;
    if (!s_.isotropic) return;
    double sum = 0;
    int count = 0;
    for (int k = 0; k < 3; ++k)
      if (s_.free[k]) sum += v[k], ++count;
    for (int k = 0; k < 3; ++k)
      if (s_.free[k]) v[k] = sum / count;
  }

  void remember(point_record r) {
    recent_.push_back(std::move(r));
    if (recent_.size() > 16) recent_.pop_front();
  }

  common_var& c_;
  const periodic_model& model_;
  const cell_relaxation_settings& s_;
  periodic_cell start_cell_;
  periodic_settings settings_;
  std::vector<bool> fixed_;
  double factor_;
  double start_measure_;
  std::vector<double> start_x_;
  std::deque<point_record> recent_;
};

}  // namespace

std::array<bool, 6> periodic_components(const periodic_cell& cell) {
  if (!cell.periodic()) throw input_rejected("a cell relaxation needs a periodic structure");
  std::array<bool, 3> spanned{};
  for (int i = 0; i < 3; ++i)
    if (cell.pbc[i]) {
      const double length = std::hypot(cell.a[i][0], cell.a[i][1], cell.a[i][2]);
      for (int d = 0; d < 3; ++d) spanned[d] = spanned[d] || std::abs(cell.a[i][d]) > 1e-12 * length;
    }
  if (int(spanned[0]) + int(spanned[1]) + int(spanned[2]) != cell.periodic_axes())
    throw input_rejected(cell.periodic_axes() == 2
                             ? "a sheet's cell relaxes only with its periodic vectors in the xy, xz or yz plane"
                             : "a chain's cell relaxes only with its periodic vector along x, y or z");
  std::array<bool, 6> free{};
  for (int v = 0; v < 6; ++v) free[v] = spanned[voigt_i[v]] && spanned[voigt_j[v]];
  return free;
}

cell_relaxation_result relax_with_cell(common_var& c, const periodic_model& model, const cell_relaxation_settings& s,
                                       cell_step_listener* listener) {
  const auto strategy = make_step_strategy(s.method);
  if (!strategy) throw std::invalid_argument("unknown optimiser '" + s.method + "'");
  cell_objective f(c, model, s);
  const auto tell = [&](int step, const search_point& p) {
    const point_record* r = f.find(p.x);
    if (!r) return;
    f.publish(*r);
    if (listener) listener->point(step, c, r->cell, r->F, r->H, r->stress);
  };
  cell_relaxation_result out;
  search_point end = f.evaluate(f.start());
  tell(0, end);
  for (;;) {
    const point_record* r = f.find(end.x);
    if (r && r->largest_force < s.fmax && r->largest_stress < s.smax) {
      out.reason = stop_reason::converged;
      break;
    }
    if (out.steps >= s.max_steps) {
      out.reason = stop_reason::step_limit;
      break;
    }
    try {
      if (!strategy->step(f, end)) {
        out.reason = stop_reason::stalled;
        break;
      }
    } catch (const cell_collapse&) {
      out.collapsed = true;
      out.reason = stop_reason::stalled;
      break;
    }
    ++out.steps;
    tell(out.steps, end);
  }
  // The end point's record: among the latest unless a line search went on beyond it.
  if (!f.find(end.x)) end = f.evaluate(end.x);
  const point_record& last = *f.find(end.x);
  f.publish(last);
  out.evaluations = f.evaluations();
  out.cell = last.cell;
  out.last = last.evaluation;
  out.stress = last.stress;
  out.enthalpy = last.H;
  return out;
}

}  // namespace tbrelax
