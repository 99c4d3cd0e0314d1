#pragma once
// Everything a use of the model needs, owned in one place: the molecular state, the constants,
// a console, an electronic solver and the storage kept from one evaluation to the next. Tools,
// bindings, benchmarks and tests build one per molecule; nothing is shared between two, so
// each may run on its own thread.

#include <memory>
#include <optional>
#include <sstream>
#include <string>

#include "io/console.hpp"
#include "linalg/electronic_solver.hpp"
#include "state/common_var.hpp"
#include "state/param.hpp"
#include "tb/force.hpp"

namespace tbrelax {

struct model_session {
  // The constants are set at once. What the model prints collects in `screen`. Without `keys`
  // the console never waits; with them, each pause takes one of their lines, and running out
  // of lines is the end-of-input fault.
  explicit model_session(std::unique_ptr<electronic_solver> solver = make_default_solver(),
                         std::optional<std::string> keys = std::nullopt);
  model_session(const model_session&) = delete;
  model_session& operator=(const model_session&) = delete;

  common_var c;
  param par;
  drive drv;
  std::ostringstream screen;
  std::istringstream keyboard;
  console con;
  std::unique_ptr<electronic_solver> solver;
  evaluation_workspace workspace;
  energy_model model;
};

}  // namespace tbrelax
