#pragma once
// A relaxation of the molecular state by a step strategy chosen by name, with constraints,
// reported through the same observer as tbrelax's steepest descent: each optimiser step is a
// block of one move.

#include <cstdint>
#include <string>

#include "driver/relaxation.hpp"
#include "optimize/constraints.hpp"
#include "optimize/minimise.hpp"
#include "optimize/verified_minimum.hpp"

namespace tbrelax {

// Hands each step of a minimisation to a relaxation observer, with the point published into the
// state the observer reads (`Objective::publish`): shared by the molecular and periodic runs.
template <class Objective>
class observer_bridge final : public step_listener {
 public:
  observer_bridge(Objective& f, const common_var& c, relaxation_observer& observer) : f_(f), c_(c), observer_(observer) {}
  void step_started(int step, const search_point& from) override {
    f_.publish(from);
    observer_.block_started(step, c_, from.energy);
  }
  void step_finished(int step, const search_point& from, const search_point& to) override {
    f_.publish(to);
    observer_.block_finished(step, c_, from.energy, to.energy);
  }

 private:
  Objective& f_;
  const common_var& c_;
  relaxation_observer& observer_;
};

struct optimiser_settings {
  std::string method = "plbfgs";  // a name of step_strategy_names()
  stop_criteria stop;
  constraints limits;
  minimum_check_settings check;  // after convergence: is the end point a minimum?
};

struct optimiser_result {
  double E = 0;  // binding energy at the relaxed geometry (without the pulling potentials)
  int steps = 0;
  std::int64_t evaluations = 0;
  stop_reason reason = stop_reason::converged;
  minimum_check_outcome check;
};

// Relaxes c from its coordinates, then, with s.check enabled and the relaxation converged,
// checks the end point for a negative curvature and leaves saddle points (see
// minimise_verified); the check's evaluations count in `evaluations`. The observer sees block_started(k) with the point step k
// starts from, block_finished(k) with the point it reached, and relaxation_finished with the
// end point. c ends at the relaxed coordinates with that point's forces (pulling pairs
// included, zero on fixed atoms). Throws std::invalid_argument for an unknown method or
// faulty constraints, and numerical_error when an evaluation is not finite.
optimiser_result run_optimiser(common_var& c, const energy_model& model, const optimiser_settings& s,
                               relaxation_observer& observer);

}  // namespace tbrelax
