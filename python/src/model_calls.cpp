#include "model_calls.hpp"

#include <cmath>

#include "hessian/hessian.hpp"
#include "hessian/rigid_modes.hpp"
#include "io/extxyz.hpp"
#include "io/read_coord.hpp"
#include "state/element.hpp"
#include "state/errors.hpp"
#include "tb/charges.hpp"

namespace tbrelax::python {
namespace {

bool all_finite(const std::vector<double>& v) {
  for (double x : v)
    if (!std::isfinite(x)) return false;
  return true;
}

}  // namespace

evaluation_result evaluate(session_pool& pool, const std::vector<std::string>& symbols, const position_list& positions,
                           std::function<void()> interruption_check) {
  const session_pool::lease session = pool.take(symbols, std::move(interruption_check));
  model_session& s = *session;
  load_checked(s, symbols, positions);
  evaluation_details details;
  evaluation_result r;
  r.energy = force(s.c, s.model, &details);
  const common_var& c = s.c;
  r.forces.reserve(3 * c.at_count);
  for (int a = 0; a < c.at_count; ++a) r.forces.insert(r.forces.end(), {c.fx[a], c.fy[a], c.fz[a]});
  if (!std::isfinite(r.energy) || !all_finite(r.forces))
    throw numerical_error("the energy or a force is not a finite number");
  r.orbital_energies = std::move(details.eps);
  r.charges = mulliken_charges(c, s.workspace);
  r.dipole = dipole_moment(c, r.charges);
  for (double& q : r.dipole) q *= debye_per_e_angstrom;
  r.messages = s.screen.str();
  return r;
}

hessian_result hessian(session_pool& pool, const std::vector<std::string>& symbols, const position_list& positions,
                       std::function<void()> interruption_check) {
  const session_pool::lease session = pool.take(symbols, std::move(interruption_check));
  model_session& s = *session;
  load_checked(s, symbols, positions);
  hess_cre(s.c, s.model);
  if (!all_finite(s.c.hess)) throw numerical_error("the Hessian has a non-finite entry");
  // hess is symmetric, so its column-major storage reads the same row by row.
  return {std::move(s.c.hess), s.screen.str()};
}

vibration_result vibrations(session_pool& pool, const std::vector<std::string>& symbols,
                            const position_list& positions, const thermo_conditions& conditions,
                            std::function<void()> interruption_check) {
  const session_pool::lease session = pool.take(symbols, std::move(interruption_check));
  model_session& s = *session;
  load_checked(s, symbols, positions);
  vibration_result r{study_vibrations(s.c, s.model, conditions), ""};
  r.messages = s.screen.str();
  return r;
}

relaxed_molecule relax(session_pool& pool, const std::vector<std::string>& symbols, const position_list& positions,
                        const optimiser_settings& settings, std::function<void()> interruption_check) {
  const session_pool::lease session = pool.take(symbols, std::move(interruption_check));
  model_session& s = *session;
  load_checked(s, symbols, positions);
  silent_observer quiet;
  const optimiser_result run = run_optimiser(s.c, s.model, settings, quiet);
  relaxed_molecule r;
  const common_var& c = s.c;
  for (int a = 0; a < c.at_count; ++a) {
    r.positions.push_back({c.x[a], c.y[a], c.z[a]});
    r.forces.insert(r.forces.end(), {c.fx[a], c.fy[a], c.fz[a]});
  }
  r.energy = run.E;
  r.steps = run.steps;
  r.evaluations = run.evaluations;
  r.converged = run.reason == stop_reason::converged;
  r.check = run.check;
  r.messages = s.screen.str();
  return r;
}

thermochemistry thermochemistry_of(const std::vector<std::string>& symbols, const position_list& positions,
                                   const std::vector<double>& frequencies, double energy,
                                   const thermo_conditions& conditions) {
  model_session s;
  load_checked(s, symbols, positions);
  return compute_thermochemistry(s.c, energy, frequencies, rigid_modes(s.c).linear, conditions);
}

structure read_structure(const std::string& path, bool tbrelax_symbols) {
  common_var c;
  std::ostringstream screen;
  std::istringstream keyboard;
  console con(screen, keyboard, false);
  read_coord(c, con, structure_source{.path = path, .create_if_missing = false, .whole_symbols = !tbrelax_symbols});
  structure st;
  for (int a = 0; a < c.at_count; ++a) {
    st.symbols.emplace_back(1, data_of(c.at_type[a]).symbol);
    st.positions.push_back({c.x[a], c.y[a], c.z[a]});
  }
  st.title = c.sssss.substr(0, c.sssss.find_last_not_of(' ') + 1);
  // A file written by the project, or by ASE, carries its title among key=value pairs.
  if (const extxyz_comment comment = read_extxyz_comment(path); comment.extended)
    st.title = comment.title.substr(0, comment.title.substr(0, title_length).find_last_not_of(' ') + 1);
  st.messages = screen.str();
  return st;
}

}  // namespace tbrelax::python
