#pragma once
// The optimisers that relax a structure in tens of evaluations, beside tbrelax's steepest
// descent: each is a step strategy that moves from one point to the next through an objective.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "optimize/objective.hpp"

namespace tbrelax {

// The largest distance one step moves any atom (angstrom): far enough to cross a soft valley
// in a few steps, short enough that a poor curvature estimate cannot throw an atom past its
// neighbours.
inline constexpr double max_atom_step = 0.2;

class step_strategy {
 public:
  virtual ~step_strategy() = default;
  // Moves from `current` to the next point, evaluating the objective as often as the method
  // needs; `current` becomes that point. False when no step can be found (the function cannot
  // be lowered beyond rounding along any direction the method tries): `current` is then unchanged.
  virtual bool step(objective& f, search_point& current) = 0;
};

// "lbfgs", "plbfgs" or "fire"; null for another name.
std::unique_ptr<step_strategy> make_step_strategy(std::string_view name);
// The names make_step_strategy accepts.
const std::vector<std::string>& step_strategy_names();

std::unique_ptr<step_strategy> make_lbfgs();
std::unique_ptr<step_strategy> make_fire();
// L-BFGS grown from the objective's model Hessian (plain L-BFGS where it has none).
std::unique_ptr<step_strategy> make_preconditioned_lbfgs();

}  // namespace tbrelax
