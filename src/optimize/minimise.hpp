#pragma once
// The loop around a step strategy: evaluate the start, then step until the largest force on
// an atom falls below a bound, the step limit is reached or the strategy finds no step.

#include "optimize/objective.hpp"
#include "optimize/step_strategy.hpp"

namespace tbrelax {

struct stop_criteria {
  double fmax = 0.01;    // eV/angstrom, on the largest |force| of one atom
  int max_steps = 1000;  // optimiser steps (a line search may evaluate more than once per step)
};

enum class stop_reason { converged, step_limit, stalled };

struct minimisation {
  search_point end;
  int steps = 0;
  stop_reason reason = stop_reason::converged;
};

// Told about every step: where it starts (`step` from 1) and where it ended.
class step_listener {
 public:
  virtual ~step_listener() = default;
  virtual void step_started(int step, const search_point& from) = 0;
  virtual void step_finished(int step, const search_point& from, const search_point& to) = 0;
};

minimisation minimise(objective& f, step_strategy& strategy, std::vector<double> start, const stop_criteria& stop,
                      step_listener* listener = nullptr);
// The same from a point already evaluated.
minimisation minimise_from(objective& f, step_strategy& strategy, search_point start, const stop_criteria& stop,
                           step_listener* listener = nullptr);

}  // namespace tbrelax
