#pragma once
// A molecule handed over by a caller (element symbols and positions) checked and turned into
// the molecular state, together with everything one evaluation of the model owns.

#include <array>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "io/console.hpp"
#include "linalg/electronic_solver.hpp"
#include "state/common_var.hpp"
#include "state/param.hpp"
#include "tb/force.hpp"

namespace tbrelax::python {

using position_list = std::vector<std::array<double, 3>>;

// One evaluation's own state, constants, solver and console. The console never waits and
// collects what the model prints (e.g. negative overlap eigenvalues), so that the caller can
// pass it on as warnings. Nothing is shared between two sessions: each may run on its own
// thread.
struct model_session {
  common_var c;
  param par;
  drive drv;
  std::ostringstream screen;
  std::istringstream keyboard;
  console con{screen, keyboard, false};
  std::unique_ptr<electronic_solver> solver = make_default_solver();

  energy_model model() { return {par, *solver, con}; }
};

// Loads the molecule into the session's state and sets the model constants. Throws
// input_rejected for: symbols and positions of different lengths, no atoms, a symbol other
// than exactly "H", "C", "N" or "O", a non-finite coordinate, or two atoms closer than the
// coincidence distance.
void load_checked(model_session& s, const std::vector<std::string>& symbols, const position_list& positions);

}  // namespace tbrelax::python
