#include "driver/vibration_study.hpp"

#include "driver/evaluation.hpp"
#include "driver/molecule_transfer.hpp"
#include "hessian/hessian.hpp"
#include "hessian/ir_intensities.hpp"

namespace tbrelax {

vibration_study study_vibrations(common_var& c, const energy_model& model, const thermo_conditions& conditions) {
  single_process alone;
  return *study_vibrations(c, model, conditions, alone, [] {});
}

std::optional<vibration_study> study_vibrations(common_var& c, const energy_model& model,
                                                const thermo_conditions& conditions, work_sharing& group,
                                                const std::function<void()>& read) {
  vibration_study s;
  std::string molecule;  // empty: rank 0 has no molecule to share
  if (group.rank() == 0) {
    try {
      read();
      // The evaluation at the geometry itself rejects a non-finite energy before the Hessian's
      // displaced ones, and gives the energy the modes belong to.
      s.energy = evaluate_finite(c, model);
      molecule = pack_molecule(c);
    } catch (...) {
      group.broadcast(molecule);
      throw;
    }
  }
  group.broadcast(molecule);
  if (molecule.empty()) return std::nullopt;
  if (group.rank() != 0) unpack_molecule(molecule, c);

  hessian_sweep sweep(c, model, /*dipoles=*/true);
  std::vector<std::string> rows(sweep.rows());
  group.share(
      sweep.rows(), [&](std::size_t k) { return pack_doubles(sweep.evaluate(k)); },
      [&](std::size_t k, std::string&& row) { rows[k] = std::move(row); });
  if (group.rank() != 0) return std::nullopt;
  for (std::size_t k = 0; k < rows.size(); ++k) sweep.store(k, unpack_doubles(rows[k]));
  std::vector<double> dipole_derivatives;
  sweep.finish(&dipole_derivatives);

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
