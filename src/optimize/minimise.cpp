#include "optimize/minimise.hpp"

namespace tbrelax {

minimisation minimise(objective& f, step_strategy& strategy, std::vector<double> start, const stop_criteria& stop,
                      step_listener* listener) {
  return minimise_from(f, strategy, f.evaluate(std::move(start)), stop, listener);
}

minimisation minimise_from(objective& f, step_strategy& strategy, search_point start, const stop_criteria& stop,
                           step_listener* listener) {
  minimisation m;
  m.end = std::move(start);
  for (;;) {
    if (largest_atom_norm(m.end.force) < stop.fmax) {
      m.reason = stop_reason::converged;
      return m;
    }
    if (m.steps >= stop.max_steps) {
      m.reason = stop_reason::step_limit;
      return m;
    }
    const search_point from = m.end;
    if (listener) listener->step_started(m.steps + 1, from);
    if (!strategy.step(f, m.end)) {
      m.reason = stop_reason::stalled;
      return m;
    }
    ++m.steps;
    if (listener) listener->step_finished(m.steps, from, m.end);
  }
}

}  // namespace tbrelax
