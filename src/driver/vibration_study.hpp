#pragma once
// Everything the vibrations of one geometry yield, as the tools report it: the energy, the
// normal modes with their infrared intensities, and the ideal-gas thermochemistry.

#include <functional>
#include <optional>

#include "hessian/thermochemistry.hpp"
#include "hessian/vibrations.hpp"
#include "parallel/work_sharing.hpp"
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

// The same with the Hessian's rows (two displaced evaluations each) shared among the
// processes of `group`; the results equal the one-process study's to the bit. Rank 0 loads
// the molecule with `read` (into c) and evaluates it; the others, whose c holds no molecule
// and whose model has its constants set, receive it from rank 0 at the coordinates that
// evaluation leaves. Returns the study on rank 0 and nothing elsewhere. A fault of `read` or
// of the first evaluation is thrown on rank 0 once the others have been released; a fault of
// the analysis on rank 0 only.
std::optional<vibration_study> study_vibrations(common_var& c, const energy_model& model,
                                                const thermo_conditions& conditions, work_sharing& group,
                                                const std::function<void()>& read);

}  // namespace tbrelax
