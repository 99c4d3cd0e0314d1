#pragma once
// A molecule handed over by a caller (element symbols and positions) checked and turned into
// the molecular state of a session.

#include <array>
#include <string>
#include <vector>

#include "driver/model_session.hpp"

namespace tbrelax::python {

using tbrelax::model_session;
using position_list = std::vector<std::array<double, 3>>;

// Loads the molecule into the session's state. Throws
// input_rejected for: symbols and positions of different lengths, no atoms, a symbol other
// than exactly "H", "C", "N" or "O", a non-finite coordinate, or two atoms closer than the
// coincidence distance.
void load_checked(model_session& s, const std::vector<std::string>& symbols, const position_list& positions);

}  // namespace tbrelax::python
