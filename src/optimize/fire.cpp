// FIRE, the fast inertial relaxation engine: damped dynamics of unit masses whose velocity is
// turned towards the force, with a time step that grows while the motion goes downhill and is
// cut, with the velocity, as soon as it goes uphill. Uses forces only.

#include <algorithm>
#include <cmath>

#include "optimize/step_strategy.hpp"

namespace tbrelax {
namespace {

// The published parameters (time in units of angstrom / sqrt(eV/angstrom) for unit masses).
constexpr double dt_start = 0.1;
constexpr double dt_max = 1.0;
constexpr int n_min = 5;            // downhill steps before the time step may grow
constexpr double f_inc = 1.1;
constexpr double f_dec = 0.5;
constexpr double alpha_start = 0.1;  // mixing of the force direction into the velocity
constexpr double f_alpha = 0.99;

class fire final : public step_strategy {
 public:
  bool step(objective& f, search_point& p) override {
    const std::vector<double>& force = p.force;
    if (v_.empty()) {
      v_.assign(force.size(), 0.0);
    } else if (const double power = dot(force, v_); power > 0) {
      const double speed = std::sqrt(dot(v_, v_)), strength = std::sqrt(dot(force, force));
      for (std::size_t k = 0; k < v_.size(); ++k) v_[k] = (1 - alpha_) * v_[k] + alpha_ * speed * force[k] / strength;
      if (downhill_ > n_min) {
        dt_ = std::min(dt_ * f_inc, dt_max);
        alpha_ *= f_alpha;
      }
      ++downhill_;
    } else {
      std::fill(v_.begin(), v_.end(), 0.0);
      alpha_ = alpha_start;
      dt_ *= f_dec;
      downhill_ = 0;
    }
    std::vector<double> dx(v_.size());
    for (std::size_t k = 0; k < v_.size(); ++k) {
      v_[k] += dt_ * force[k];
      dx[k] = dt_ * v_[k];
    }
    const double longest = largest_atom_norm(dx);
    const double shrink = longest > max_atom_step ? max_atom_step / longest : 1.0;
    std::vector<double> x(p.x.size());
    for (std::size_t k = 0; k < x.size(); ++k) x[k] = p.x[k] + shrink * dx[k];
    p = f.evaluate(std::move(x));
    return true;
  }

 private:
  std::vector<double> v_;
  double dt_ = dt_start;
  double alpha_ = alpha_start;
  int downhill_ = 0;
};

}  // namespace

std::unique_ptr<step_strategy> make_fire() { return std::make_unique<fire>(); }

}  // namespace tbrelax
