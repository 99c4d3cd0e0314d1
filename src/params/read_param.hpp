#pragma once
// The built-in constants of the model. There is no parameter file.

#include "state/common_var.hpp"
#include "state/param.hpp"

namespace tbrelax {

// Fills every table of `par`, the step of `drv`, and the pulling pairs and periodic switch of
// the molecular state. Calling it again writes the same values.
void read_param(param& par, drive& drv, common_var& c);

}  // namespace tbrelax
