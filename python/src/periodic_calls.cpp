#include "periodic_calls.hpp"

#include <cmath>

#include "driver/cell_relaxation.hpp"
#include "driver/periodic_relaxation.hpp"
#include "state/errors.hpp"
#include "tb/kpoint_grid.hpp"
#include "tb/lattice_terms.hpp"

namespace tbrelax::python {
namespace {

// The settings of a request for the loaded structure c.
periodic_settings settings_for(const periodic_request& r, const common_var& c, const param& par,
                               periodic_result& out) {
  periodic_settings s;
  const bool periodic = r.cell && r.cell->periodic();
  if (periodic) s.cell = *r.cell;
  const double T = r.temperature.value_or(periodic ? 300.0 : 0.0);
  if (!std::isfinite(T) || T < 0) throw input_rejected("electronic_temperature must be a finite number of at least 0 K");
  if (periodic) check_lattice_reach(c, s.cell, par);
  out.grid = r.grid.value_or(default_kpoint_grid(s.cell));
  if (const std::string fault = kpoint_grid_fault(s.cell, out.grid, r.shift); !fault.empty()) throw input_rejected(fault);
  s.kpoints = kpoint_grid(s.cell, out.grid, r.shift);
  s.electronic_temperature = T;
  out.temperature = T;
  out.kpoint_count = s.kpoints.size();
  return s;
}

void take_positions(const common_var& c, periodic_result& out) {
  for (int a = 0; a < c.at_count; ++a) out.positions.push_back({c.x[a], c.y[a], c.z[a]});
}

void take_forces(const common_var& c, periodic_result& out) {
  out.forces.clear();
  for (int a = 0; a < c.at_count; ++a) out.forces.insert(out.forces.end(), {c.fx[a], c.fy[a], c.fz[a]});
}

}  // namespace

periodic_result evaluate_periodic_call(session_pool& pool, const std::vector<std::string>& symbols,
                                       const position_list& positions, const periodic_request& request,
                                       std::function<void()> interruption_check) {
  const session_pool::lease session = pool.take(symbols, std::move(interruption_check));
  model_session& s = *session;
  load_checked(s, symbols, positions);
  periodic_result out;
  const periodic_settings settings = settings_for(request, s.c, s.par, out);
  if (s.model.interruption_check) s.model.interruption_check();
  out.p = evaluate_periodic_finite(s.c, s.par, settings, *s.solver);
  take_forces(s.c, out);
  if (settings.cell.periodic()) out.stress = stress_of(out.p, settings.cell);
  return out;
}

periodic_result relax_periodic_call(session_pool& pool, const std::vector<std::string>& symbols,
                                    const position_list& positions, const periodic_request& request,
                                    const optimiser_settings& optimiser, std::function<void()> interruption_check) {
  const session_pool::lease session = pool.take(symbols, std::move(interruption_check));
  model_session& s = *session;
  load_checked(s, symbols, positions);
  periodic_result out;
  const periodic_model model{s.par, *s.solver, settings_for(request, s.c, s.par, out), s.model.interruption_check};
  silent_observer quiet;
  const periodic_relaxation_result run = run_periodic_optimiser(s.c, model, optimiser, quiet);
  out.p = run.last;
  take_forces(s.c, out);
  take_positions(s.c, out);
  if (model.settings.cell.periodic()) out.stress = stress_of(out.p, model.settings.cell);
  out.steps = run.run.steps;
  out.evaluations = run.run.evaluations;
  out.converged = run.run.reason == stop_reason::converged;
  return out;
}

periodic_result relax_cell_call(session_pool& pool, const std::vector<std::string>& symbols,
                                const position_list& positions, const periodic_request& request,
                                const optimiser_settings& optimiser, const cell_request& cell,
                                std::function<void()> interruption_check) {
  if (!request.cell || !request.cell->periodic()) throw input_rejected("a cell relaxation needs a periodic cell");
  if (!std::isfinite(cell.smax) || cell.smax <= 0) throw input_rejected("smax must be a number above 0 (GPa)");
  if (!std::isfinite(cell.pressure)) throw input_rejected("pressure must be a finite number (GPa)");
  const session_pool::lease session = pool.take(symbols, std::move(interruption_check));
  model_session& s = *session;
  load_checked(s, symbols, positions);
  periodic_result out;
  const periodic_model model{s.par, *s.solver, settings_for(request, s.c, s.par, out), s.model.interruption_check};

  cell_relaxation_settings settings;
  settings.method = optimiser.method;
  settings.fmax = optimiser.stop.fmax;
  settings.max_steps = optimiser.stop.max_steps;
  settings.smax = cell.smax;
  settings.pressure = cell.pressure;
  settings.free = periodic_components(model.settings.cell);
  if (cell.mask) {
    static constexpr const char* names[] = {"xx", "yy", "zz", "yz", "xz", "xy"};
    for (int v = 0; v < 6; ++v)
      if ((*cell.mask)[v] && !settings.free[v])
        throw input_rejected(std::string("cell_mask: ") + names[v] + " involves a direction that does not repeat");
    settings.free = *cell.mask;
  }
  settings.isotropic = cell.isotropic;
  settings.fixed = optimiser.limits.fixed;

  const cell_relaxation_result run = relax_with_cell(s.c, model, settings);
  if (run.collapsed) throw numerical_error("the cell shrank below a tenth of its starting size");
  out.p = run.last;
  take_forces(s.c, out);
  take_positions(s.c, out);
  out.stress = run.stress;
  out.cell = run.cell;
  out.volume = cell_volume(run.cell);
  out.enthalpy = run.enthalpy;
  out.steps = run.steps;
  out.evaluations = run.evaluations;
  out.converged = run.reason == stop_reason::converged;
  return out;
}

phonon_result phonons_call(session_pool& pool, const std::vector<std::string>& symbols,
                           const position_list& positions, const periodic_request& request, double temperature,
                           std::function<void()> interruption_check) {
  if (!request.cell || !request.cell->periodic()) throw input_rejected("phonons need a periodic cell; use vibrations");
  if (!std::isfinite(temperature) || temperature < 0)
    throw input_rejected("temperature must be a finite number of at least 0 K");
  const session_pool::lease session = pool.take(symbols, std::move(interruption_check));
  model_session& s = *session;
  load_checked(s, symbols, positions);
  periodic_result grid;
  const periodic_settings settings = settings_for(request, s.c, s.par, grid);
  if (s.model.interruption_check) s.model.interruption_check();
  phonon_result out;
  out.modes = phonons_at_gamma(s.c, s.par, settings, *s.solver);
  out.thermo = harmonic_thermo(out.modes.frequencies, temperature);
  out.grid = grid.grid;
  out.electronic_temperature = grid.temperature;
  return out;
}

}  // namespace tbrelax::python
