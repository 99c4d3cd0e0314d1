#pragma once
// Evaluations and relaxations of a periodic structure in a fixed cell (or of a molecule at an
// electronic temperature): the optimisers minimise the free energy F, whose minus gradient the
// forces are, with fixed atoms and pulling pairs measured between nearest images.

#include <array>
#include <functional>

#include "driver/relaxation.hpp"
#include "optimize/optimiser_run.hpp"
#include "tb/periodic_evaluation.hpp"

namespace tbrelax {

// evaluate_periodic, then numerical_error when an energy or a force is not finite.
periodic_evaluation evaluate_periodic_finite(common_var& c, const param& par, const periodic_settings& s,
                                             electronic_solver& solver);

// The shortest of the vectors D + T over the lattice translations T of the cell.
std::array<double, 3> minimum_image(const std::array<double, 3>& D, const periodic_cell& cell);

// What a periodic relaxation needs: the model constants, the solver, the settings, and the
// interruption check run before every evaluation (see energy_model).
struct periodic_model {
  const param& par;
  electronic_solver& solver;
  periodic_settings settings;
  std::function<void()> interruption_check = {};
};

struct periodic_relaxation_result {
  optimiser_result run;             // run.E is the free energy F at the end
  periodic_evaluation last;         // the evaluation at the relaxed point
};

// As run_optimiser, minimising F (plus the pulling potentials). The observer sees F as the
// energy of every point. c ends at the relaxed coordinates with their forces.
periodic_relaxation_result run_periodic_optimiser(common_var& c, const periodic_model& model,
                                                  const optimiser_settings& s, relaxation_observer& observer);

}  // namespace tbrelax
