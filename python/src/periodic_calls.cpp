#include "periodic_calls.hpp"

#include <cmath>

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
  for (int a = 0; a < s.c.at_count; ++a) out.positions.push_back({s.c.x[a], s.c.y[a], s.c.z[a]});
  out.steps = run.run.steps;
  out.evaluations = run.run.evaluations;
  out.converged = run.run.reason == stop_reason::converged;
  return out;
}

}  // namespace tbrelax::python
