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
#include "driver/cell_relaxation.hpp"
#include "hessian/gamma_phonons.hpp"
#include "session_pool.hpp"
#include "tb/periodic_evaluation.hpp"
#include "tb/stress.hpp"

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
  std::optional<voigt> stress;  // eV/angstrom^3, positive tensile; none for a molecule
  // Relaxations with the cell: the cell at the end, its volume (vacuum included) and F + p V.
  std::optional<periodic_cell> cell;
  double volume = 0;
  double enthalpy = 0;
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


// The cell's part of a relaxation with the cell: the stop criterion of the stress and the
// external pressure (eV/angstrom^3), the Voigt components that may change (none given: every
// one the periodic axes span) and whether the free lengths scale together.
struct cell_request {
  double smax = default_smax;
  double pressure = 0;
  std::optional<std::array<bool, 6>> mask;
  bool isotropic = false;
};

// Throws input_rejected for a molecule, a mask component across a non-periodic direction, and
// as relax_periodic_call does; numerical_error when the cell collapses.
periodic_result relax_cell_call(session_pool& pool, const std::vector<std::string>& symbols,
                                const position_list& positions, const periodic_request& request,
                                const optimiser_settings& settings, const cell_request& cell,
                                std::function<void()> interruption_check = {});

// Phonons at Gamma of a periodic cell and their harmonic thermochemistry per cell at
// `temperature` (K). Throws input_rejected for a molecule or a bad temperature.
struct phonon_result {
  gamma_phonons modes;
  vibrational_thermo thermo;
  std::array<int, 3> grid{1, 1, 1};
  double electronic_temperature = 0;
};
phonon_result phonons_call(session_pool& pool, const std::vector<std::string>& symbols,
                           const position_list& positions, const periodic_request& request, double temperature,
                           std::function<void()> interruption_check = {});

}  // namespace tbrelax::python
