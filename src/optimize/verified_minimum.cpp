#include "optimize/verified_minimum.hpp"

#include <cmath>
#include <limits>
#include <random>

#include "hessian/vibrations.hpp"
#include "optimize/lowest_curvature.hpp"

namespace tbrelax {
namespace {

// Passes the steps on with numbers that continue over the relaxations.
class step_relay final : public step_listener {
 public:
  explicit step_relay(step_listener* to) : to_(to) {}
  void step_started(int step, const search_point& from) override {
    if (to_) to_->step_started(offset_ + step, from);
  }
  void step_finished(int step, const search_point& from, const search_point& to) override {
    if (to_) to_->step_finished(offset_ + step, from, to);
  }
  int offset_ = 0;

 private:
  step_listener* to_;
};

// The start of a check: a fixed pseudo-random direction, which no symmetry of the molecule can
// keep away from a mode. The optimiser's own steps are no help: it has left positive
// curvature along them (its line search saw to that), and on a symmetric molecule such a step is
// a symmetric mode whose Ritz pair converges at once and settles a curvature that is not the
// lowest.
std::vector<double> check_start(std::size_t size) {
  std::mt19937_64 generator(20261124);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  std::vector<double> random(size);
  for (double& q : random) q = uniform(generator);
  return random;
}

}  // namespace

double curvature_of_wavenumber(double nu) {
  const double ratio = nu / wavenumber(1.0);
  return std::copysign(ratio * ratio, nu);
}

verified_minimisation minimise_verified(objective& f, const std::function<std::unique_ptr<step_strategy>()>& make,
                                        search_point start, const stop_criteria& stop,
                                        const minimum_check_settings& check, step_listener* listener) {
  verified_minimisation v;
  step_relay relay(listener);
  stop_criteria left = stop;
  const double threshold = curvature_of_wavenumber(-check.threshold);
  for (;;) {
    auto strategy = make();
    const minimisation m = minimise_from(f, *strategy, std::move(start), left, &relay);
    v.run.end = m.end;
    v.run.reason = m.reason;
    v.run.steps += m.steps;
    relay.offset_ += m.steps;
    left.max_steps -= m.steps;
    if (!check.enabled) return v;
    if (m.reason != stop_reason::converged) {
      // After an escape: the end point, short of a minimum, is not the one checked before.
      v.check.verified = false;
      v.check.curvature = v.check.wavenumber = std::numeric_limits<double>::quiet_NaN();
      return v;
    }

    const std::int64_t before = f.evaluations();
    hessian_vector_product hv(f, v.run.end);
    const curvature_estimate e = lowest_curvature(hv, {check_start(hv.size())}, threshold, check.max_products);
    v.check.performed = true;
    v.check.curvature = e.curvature;
    v.check.wavenumber = wavenumber(e.curvature);
    const bool saddle = e.curvature < threshold;
    v.check.verified = e.settled && !saddle;
    if (!saddle || v.check.escapes == check.max_escapes) {
      v.check.evaluations += f.evaluations() - before;
      return v;
    }
    // Off the saddle point along the mode, to the lower of its two sides.
    std::vector<double> d = hv.cartesian(e.mode);
    const double scale = check.escape_step / largest_atom_norm(d);
    search_point sides[2];
    for (int side = 0; side < 2; ++side) {
      std::vector<double> x(v.run.end.x);
      for (std::size_t k = 0; k < x.size(); ++k) x[k] += (side == 0 ? scale : -scale) * d[k];
      sides[side] = f.evaluate(std::move(x));
    }
    start = std::move(sides[sides[1].value < sides[0].value ? 1 : 0]);
    ++v.check.escapes;
    v.check.evaluations += f.evaluations() - before;
  }
}

}  // namespace tbrelax
