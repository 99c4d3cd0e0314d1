#include "optimize/reaction_coordinate.hpp"

#include <cmath>

#include "optimize/step_strategy.hpp"

namespace tbrelax {
namespace {

// The unit mass-weighted descent direction at p, as a Cartesian displacement per unit of
// mass-weighted length: F / sqrt(m), normalised, then divided by sqrt(m) once more.
std::vector<double> descent(const search_point& p, const std::vector<double>& mass) {
  std::vector<double> u(p.force.size());
  double norm = 0;
  for (std::size_t k = 0; k < u.size(); ++k) {
    u[k] = p.force[k] / std::sqrt(mass[k]);
    norm += u[k] * u[k];
  }
  norm = std::sqrt(norm);
  for (std::size_t k = 0; k < u.size(); ++k) u[k] = norm > 0 ? u[k] / norm / std::sqrt(mass[k]) : 0.0;
  return u;
}

// Energy drop (eV) below which a step of the path counts as level.
constexpr double least_drop = 1e-6;

std::vector<double> moved(const std::vector<double>& x, const std::vector<double>& d, double h) {
  std::vector<double> y = x;
  for (std::size_t k = 0; k < y.size(); ++k) y[k] += h * d[k];
  return y;
}

irc_side follow_side(objective& f, const search_point& saddle, const std::vector<double>& mass,
                     const std::vector<double>& first_direction, const irc_settings& s) {
  irc_side side;
  search_point p = f.evaluate(moved(saddle.x, first_direction, s.step));
  double length = s.step;
  for (int k = 0; k < s.max_steps && largest_atom_norm(p.force) >= s.level; ++k) {
    side.path.push_back(p);
    side.length.push_back(length);
    const std::vector<double> d0 = descent(p, mass);
    const search_point trial = f.evaluate(moved(p.x, d0, s.step));
    const std::vector<double> d1 = descent(trial, mass);
    double agreement = 0;  // the cosine of the two directions in mass-weighted coordinates
    for (std::size_t i = 0; i < d0.size(); ++i) agreement += mass[i] * d0[i] * d1[i];
    if (agreement < 0) break;  // the trial step crossed a valley floor: relax from here
    std::vector<double> mean(d0.size());
    for (std::size_t i = 0; i < mean.size(); ++i) mean[i] = 0.5 * (d0[i] + d1[i]);
    search_point next = f.evaluate(moved(p.x, mean, s.step));
    // The path has levelled out (the step no longer lowers the energy by more than the
    // model's noise) or overshot a valley floor: L-BFGS relaxes from here.
    if (!(next.energy < p.energy - least_drop)) break;
    p = std::move(next);
    length += s.step;
  }
  const auto lbfgs = make_lbfgs();
  const minimisation m = minimise_from(f, *lbfgs, p, s.relax);
  side.relaxed = m.reason == stop_reason::converged;
  side.path.push_back(m.end);
  double gap = 0;  // the relaxation's move, mass-weighted
  for (std::size_t k = 0; k < m.end.x.size(); ++k) gap += mass[k] * (m.end.x[k] - p.x[k]) * (m.end.x[k] - p.x[k]);
  side.length.push_back(length + std::sqrt(gap));
  return side;
}

}  // namespace

irc_result follow_irc(objective& f, const search_point& saddle, const std::vector<double>& mode, const irc_settings& s) {
  const std::int64_t before = f.evaluations();
  const std::vector<double> mass = f.curvature_space_at(saddle).mass;
  // The mode as a unit mass-weighted step, in Cartesian displacement per unit length.
  std::vector<double> d(mode.size());
  double norm = 0;
  for (std::size_t k = 0; k < d.size(); ++k) norm += mass[k] * mode[k] * mode[k];
  norm = std::sqrt(norm);
  for (std::size_t k = 0; k < d.size(); ++k) d[k] = mode[k] / norm;
  std::vector<double> back = d;
  for (double& q : back) q = -q;
  irc_result r;
  r.forward = follow_side(f, saddle, mass, d, s);
  r.backward = follow_side(f, saddle, mass, back, s);
  r.evaluations = f.evaluations() - before;
  return r;
}

}  // namespace tbrelax
