#include "driver/periodic_relaxation.hpp"

#include <cmath>
#include <numbers>
#include <stdexcept>

#include "optimize/minimise.hpp"
#include "state/errors.hpp"
#include "tb/kpoint_grid.hpp"

namespace tbrelax {
namespace {

using vec3 = std::array<double, 3>;

bool all_finite(const std::vector<double>& v) {
  for (double q : v)
    if (!std::isfinite(q)) return false;
  return true;
}

// A pulling pair between the nearest images of its atoms: forces and potential -F L.
double apply_nearest_pull(common_var& c, const pulling_pair& p, const periodic_cell& cell) {
  if (p.a < 1 || p.b < 1 || p.a > c.at_count || p.b > c.at_count) return 0;
  const int a = p.a - 1, b = p.b - 1;
  const vec3 D = minimum_image({c.x[b] - c.x[a], c.y[b] - c.y[a], c.z[b] - c.z[a]}, cell);
  const double L = std::sqrt(D[0] * D[0] + D[1] * D[1] + D[2] * D[2]);
  if (!(L > 1e-10)) return 0;
  std::vector<double>* f[3] = {&c.fx, &c.fy, &c.fz};
  for (int k = 0; k < 3; ++k) {
    (*f[k])[b] += p.F * D[k] / L;
    (*f[k])[a] -= p.F * D[k] / L;
  }
  return -p.F * L;
}

// The structure as an objective: F less the pulling potentials, fixed atoms held.
class periodic_objective final : public objective {
 public:
  periodic_objective(common_var& c, const periodic_model& model, constraints k)
      : c_(c), model_(model), k_(std::move(k)), fixed_(3 * std::size_t(c.at_count), false) {
    start_ = positions();
    for (int a : k_.fixed)
      for (int axis = 0; axis < 3; ++axis) fixed_[3 * a + axis] = true;
  }
  std::vector<double> positions() const {
    std::vector<double> x;
    for (int a = 0; a < c_.at_count; ++a) x.insert(x.end(), {c_.x[a], c_.y[a], c_.z[a]});
    return x;
  }
  search_point evaluate(std::vector<double> x) override {
    for (std::size_t k = 0; k < x.size(); ++k)
      if (fixed_[k]) x[k] = start_[k];
    for (int a = 0; a < c_.at_count; ++a) c_.x[a] = x[3 * a], c_.y[a] = x[3 * a + 1], c_.z[a] = x[3 * a + 2];
    ++evaluations_;
    if (model_.interruption_check) model_.interruption_check();
    last = evaluate_periodic_finite(c_, model_.par, model_.settings, model_.solver);
    last_x = x;
    search_point p;
    p.energy = last.free_energy;
    p.value = p.energy;
    for (const pulling_pair& pull : k_.pulls) p.value += apply_nearest_pull(c_, pull, model_.settings.cell);
    p.force.resize(x.size());
    for (int a = 0; a < c_.at_count; ++a) {
      p.force[3 * a] = fixed_[3 * a] ? 0.0 : c_.fx[a];
      p.force[3 * a + 1] = fixed_[3 * a + 1] ? 0.0 : c_.fy[a];
      p.force[3 * a + 2] = fixed_[3 * a + 2] ? 0.0 : c_.fz[a];
    }
    p.x = std::move(x);
    return p;
  }
  void publish(const search_point& p) {
    for (int a = 0; a < c_.at_count; ++a) {
      c_.x[a] = p.x[3 * a], c_.y[a] = p.x[3 * a + 1], c_.z[a] = p.x[3 * a + 2];
      c_.fx[a] = p.force[3 * a], c_.fy[a] = p.force[3 * a + 1], c_.fz[a] = p.force[3 * a + 2];
    }
  }
  periodic_evaluation last;     // the latest evaluation
  std::vector<double> last_x;   // and its coordinates

 private:
  common_var& c_;
  const periodic_model& model_;
  constraints k_;
  std::vector<double> start_;
  std::vector<bool> fixed_;
};

}  // namespace

periodic_evaluation evaluate_periodic_finite(common_var& c, const param& par, const periodic_settings& s,
                                             electronic_solver& solver) {
  periodic_evaluation p = evaluate_periodic(c, par, s, solver);
  if (!std::isfinite(p.free_energy) || !std::isfinite(p.energy) || !all_finite(c.fx) || !all_finite(c.fy) ||
      !all_finite(c.fz))
    throw numerical_error("the energy or a force is not a finite number");
  return p;
}

vec3 minimum_image(const vec3& D, const periodic_cell& cell) {
  if (!cell.periodic()) return D;
  const std::array<vec3, 3> b = reciprocal_vectors(cell);
  // Nearest lattice point by rounding the fractional coordinates, then the neighbouring ones.
  vec3 reduced = D;
  for (int i = 0; i < 3; ++i) {
    if (!cell.pbc[i]) continue;
    const double f = std::round((reduced[0] * b[i][0] + reduced[1] * b[i][1] + reduced[2] * b[i][2]) / (2 * std::numbers::pi));
    for (int d = 0; d < 3; ++d) reduced[d] -= f * cell.a[i][d];
  }
  vec3 best = reduced;
  double shortest = reduced[0] * reduced[0] + reduced[1] * reduced[1] + reduced[2] * reduced[2];
  const int reach[3] = {cell.pbc[0] ? 1 : 0, cell.pbc[1] ? 1 : 0, cell.pbc[2] ? 1 : 0};
  for (int i = -reach[0]; i <= reach[0]; ++i)
    for (int j = -reach[1]; j <= reach[1]; ++j)
      for (int k = -reach[2]; k <= reach[2]; ++k) {
        vec3 v{};
        for (int d = 0; d < 3; ++d) v[d] = reduced[d] + i * cell.a[0][d] + j * cell.a[1][d] + k * cell.a[2][d];
        const double l = v[0] * v[0] + v[1] * v[1] + v[2] * v[2];
        if (l < shortest) shortest = l, best = v;
      }
  return best;
}

periodic_relaxation_result run_periodic_optimiser(common_var& c, const periodic_model& model,
                                                  const optimiser_settings& s, relaxation_observer& observer) {
  const auto strategy = make_step_strategy(s.method);
  if (!strategy) throw std::invalid_argument("unknown optimiser '" + s.method + "'");
  if (const std::string fault = constraint_fault(s.limits, c.at_count); !fault.empty())
    throw std::invalid_argument(fault);
  periodic_objective f(c, model, s.limits);
  observer_bridge bridge(f, c, observer);
  const minimisation m = minimise(f, *strategy, f.positions(), s.stop, &bridge);
  periodic_relaxation_result r;
  r.run = {m.end.energy, m.steps, f.evaluations(), m.reason, {}};  // the minimum check is for molecules
  // The end point's evaluation: the latest one unless a line search went on beyond it.
  if (f.last_x != m.end.x) f.evaluate(m.end.x);
  r.last = f.last;
  f.publish(m.end);
  observer.relaxation_finished(c, m.end.energy);
  return r;
}

}  // namespace tbrelax
