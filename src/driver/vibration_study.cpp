#include "driver/vibration_study.hpp"

#include "driver/evaluation.hpp"
#include "hessian/hessian.hpp"
#include "hessian/ir_intensities.hpp"

namespace tbrelax {

vibration_study study_vibrations(common_var& c, const energy_model& model, const thermo_conditions& conditions) {
  vibration_study s;
  // The evaluation at the geometry itself rejects a non-finite energy before the Hessian's
  // displaced ones, and gives the energy the modes belong to.
  s.energy = evaluate_finite(c, model);
  std::vector<double> dipole_derivatives;
  hess_cre(c, model, &dipole_derivatives);
  // The displacements put the coordinates back only up to rounding: analyse the given ones.
  c.x = c.x0;
  c.y = c.y0;
  c.z = c.z0;
  s.modes = analyse_vibrations(c);
  s.modes.intensities = ir_intensities(s.modes, c.amass, dipole_derivatives);
  s.thermo = compute_thermochemistry(c, s.energy, s.modes.frequencies, s.modes.linear, conditions);
  return s;
}

}  // namespace tbrelax
