#include "optimize/optimiser_run.hpp"

#include <stdexcept>

namespace tbrelax {
namespace {

// Hands each step to the relaxation observer with the point published in the molecular state.
class observer_bridge final : public step_listener {
 public:
  observer_bridge(molecule_objective& f, const common_var& c, relaxation_observer& observer)
      : f_(f), c_(c), observer_(observer) {}
  void step_started(int step, const search_point& from) override {
    f_.publish(from);
    observer_.block_started(step, c_, from.energy);
  }
  void step_finished(int step, const search_point& from, const search_point& to) override {
    f_.publish(to);
    observer_.block_finished(step, c_, from.energy, to.energy);
  }

 private:
  molecule_objective& f_;
  const common_var& c_;
  relaxation_observer& observer_;
};

}  // namespace

optimiser_result run_optimiser(common_var& c, const energy_model& model, const optimiser_settings& s,
                               relaxation_observer& observer) {
  if (!make_step_strategy(s.method)) throw std::invalid_argument("unknown optimiser '" + s.method + "'");
  if (const std::string fault = constraint_fault(s.limits, c.at_count); !fault.empty())
    throw std::invalid_argument(fault);
  molecule_objective f(c, model, s.limits);
  observer_bridge bridge(f, c, observer);
  const verified_minimisation v = minimise_verified(
      f, [&s] { return make_step_strategy(s.method); }, f.evaluate(f.positions()), s.stop, s.check, &bridge);
  const minimisation& m = v.run;
  f.publish(m.end);
  observer.relaxation_finished(c, m.end.energy);
  return {m.end.energy, m.steps, f.evaluations(), m.reason, v.check};
}

}  // namespace tbrelax
