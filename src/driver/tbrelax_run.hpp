#pragma once
// The relaxation program from start to finish: fixed file names, a screen and a keyboard.

#include <functional>

#include "io/console.hpp"
#include "linalg/electronic_solver.hpp"
#include "state/common_var.hpp"
#include "state/param.hpp"

namespace tbrelax {

// Sets the constants, reads input.xyz, relaxes the molecule and reports through output.xyz
// and the console, ending with the final pause; the state's arrays are released on return.
// A rejected input (input_rejected), a molecule too large for the memory (out_of_memory), a
// non-finite energy (numerical_error) and a failed file or keyboard (io_error) are thrown; for
// the first three the program's own message and pause have been shown by then. A stop asked
// through the model's interruption check (interrupted) ends the run between two evaluations.
void run_tbrelax(common_var& c, param& par, drive& drv, console& con, electronic_solver& solver,
                 std::function<void()> interruption_check = {});

}  // namespace tbrelax
