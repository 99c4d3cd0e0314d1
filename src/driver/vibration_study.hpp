#pragma once
// Everything the vibrations of one geometry yield, as the tools report it: the energy, the
// normal modes with their infrared intensities, and the ideal-gas thermochemistry.

#include "hessian/thermochemistry.hpp"
#include "hessian/vibrations.hpp"
#include "state/common_var.hpp"
#include "tb/force.hpp"

namespace tbrelax {

struct vibration_study {
  double energy = 0;  // at the geometry (eV)
  vibrational_analysis modes;  // with intensities
  thermochemistry thermo;
};

// One checked evaluation (numerical_error for a non-finite energy), the Hessian with the dipole
// derivatives, the analysis at the state's own coordinates (put back exactly afterwards) and
// the thermochemistry under `conditions`. Throws numerical_error for a non-finite Hessian and
// input_rejected for conditions out of range.
vibration_study study_vibrations(common_var& c, const energy_model& model, const thermo_conditions& conditions);

}  // namespace tbrelax
