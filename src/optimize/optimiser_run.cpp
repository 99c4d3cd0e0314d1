#include "optimize/optimiser_run.hpp"

#include <stdexcept>

namespace tbrelax {

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
