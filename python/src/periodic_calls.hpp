#pragma once
// The Python package's calls on periodic structures (and on molecules at an electronic
// temperature): one evaluation and a relaxation in a fixed cell, in plain C++.

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "molecule_input.hpp"
#include "optimize/optimiser_run.hpp"
#include "session_pool.hpp"
#include "tb/periodic_evaluation.hpp"

namespace tbrelax::python {

// What the caller gave: a cell (none for a molecule), a grid (none: the default of the cell),
// its shift and a temperature (none: 300 K for a periodic cell, 0 for a molecule).
struct periodic_request {
  std::optional<periodic_cell> cell;
  std::optional<std::array<int, 3>> grid;
  std::array<double, 3> shift{0, 0, 0};
  std::optional<double> temperature;
};

struct periodic_result {
  periodic_evaluation p;
  std::vector<double> forces;  // n x 3, row-major
  std::array<int, 3> grid{1, 1, 1};
  double temperature = 0;
  std::size_t kpoint_count = 0;
  // Relaxations only.
  position_list positions;
  int steps = 0;
  std::int64_t evaluations = 0;
  bool converged = false;
};

// Throws input_rejected for a grid or temperature the cell cannot take, and as the model does.
periodic_result evaluate_periodic_call(session_pool& pool, const std::vector<std::string>& symbols,
                                       const position_list& positions, const periodic_request& request,
                                       std::function<void()> interruption_check = {});
periodic_result relax_periodic_call(session_pool& pool, const std::vector<std::string>& symbols,
                                    const position_list& positions, const periodic_request& request,
                                    const optimiser_settings& settings, std::function<void()> interruption_check = {});

}  // namespace tbrelax::python
