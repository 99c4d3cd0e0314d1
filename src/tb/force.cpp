#include "tb/force.hpp"

#include <chrono>
#include <cmath>

#include "tb/assembly.hpp"
#include "tb/electronic_forces.hpp"
#include "tb/occupy.hpp"
#include "tb/pulling.hpp"
#include "tb/repulsion.hpp"
#include "tb/working_storage.hpp"

namespace tbrelax {
namespace {

using clock_type = std::chrono::steady_clock;

double seconds_since(clock_type::time_point start) {
  return std::chrono::duration<double>(clock_type::now() - start).count();
}

// Minus the gradient of the pair energies with respect to each atom, at the coordinates each
// atom sees once its own passes are done.
void repulsive_forces(common_var& c, const param& par, const displacement_view& view) {
#pragma omp parallel for schedule(dynamic, 16) if (c.at_count > 64)
  for (int i = 0; i < c.at_count; ++i) {
    const std::array<double, 3> ri = view.position(i, i, 3);
    double s[3] = {0.0, 0.0, 0.0};
    for (int j = 0; j < c.at_count; ++j) {
      if (j == i) continue;
      const std::array<double, 3> rj = view.position(j, i, 3);
      const double dx = rj[0] - ri[0], dy = rj[1] - ri[1], dz = rj[2] - ri[2];
      const double R = std::sqrt(dx * dx + dy * dy + dz * dz);
      const double slope = repulsive_pair_slope(c.at_type[j], c.at_type[i], R, par);
      for (int k = 0; k < 3; ++k) s[k] = s[k] - (ri[k] - rj[k]) * slope / R;
    }
    c.frepx[i] = 0.0 + s[0];
    c.frepy[i] = 0.0 + s[1];
    c.frepz[i] = 0.0 + s[2];
  }
}

// The coordinates as the forward-difference passes put them back.
void take_restored(common_var& c, const displacement_view& view) {
  c.x = view.restored()[0];
  c.y = view.restored()[1];
  c.z = view.restored()[2];
}

}  // namespace

void replay_force_rounding(common_var& c) { take_restored(c, displacement_view(c, force_displacement)); }

double force(common_var& c, const energy_model& model, evaluation_details* details) {
  if (model.interruption_check) model.interruption_check();
  const param& par = model.par;
  const int n = c.wfunc_count;

  evaluation_workspace local;
  evaluation_workspace& work = model.workspace ? *model.workspace : local;
  matrix& S = work.S;
  matrix& H = work.H;
  electronic_result& electrons = work.electrons;

  const displacement_view view(c, force_displacement);
  double assembly_seconds = 0, displacement_seconds = 0;
  auto start = clock_type::now();
  if (model.distributed) {
    model.distributed->run(c, par, view, electrons, work.populations);
  } else {
    // Every element of S and H is written below, so storage kept from a previous call needs no clearing.
    if (S.rows() != n) {
      check_memory(evaluation_storage_bytes(n), storage_purpose(c, false));
      S = matrix(n);
    }
    if (H.rows() != n) H = matrix(n);
    assemble_overlap(all_atoms, c, par, S);
    assemble_hamiltonian(all_atoms, c, par, S, H);
    assembly_seconds = seconds_since(start);
    model.solver.solve(H, S, c.el_count, electrons);
  }
  for (const negative_overlap& s : electrons.negative_overlaps) {
    model.con.print(" Error S<0.", s.index, s.value);
    model.con.pause();
  }
  const double repulsive_energy = ener_rep(c, par, model.con);
  const double E = occupy(repulsive_energy, electrons.eps, c, par);

  if (!model.distributed) {
    start = clock_type::now();
    electronic_forces(c, par, view, S, H, electrons.P, electrons.W);
    displacement_seconds = seconds_since(start);
  }
  start = clock_type::now();
  repulsive_forces(c, par, view);
  const double repulsion_seconds = seconds_since(start);
  take_restored(c, view);

  for (int a = 0; a < c.at_count; ++a) {
    c.fx[a] = c.felx[a] + c.frepx[a];
    c.fy[a] = c.fely[a] + c.frepy[a];
    c.fz[a] = c.felz[a] + c.frepz[a];
  }
  for (const pulling_pair& p : {pulling_pair{c.na1, c.na2, c.ff12}, pulling_pair{c.na3, c.na4, c.ff34},
                                 pulling_pair{c.na5, c.na6, c.ff56}, pulling_pair{c.na7, c.na8, c.ff78}})
    apply_pulling_pair(c, p);

  if (details) {
    details->eps = electrons.eps;
    details->repulsive_energy = repulsive_energy;
    details->assembly_seconds = assembly_seconds;
    details->displacement_seconds = displacement_seconds;
    details->repulsion_seconds = repulsion_seconds;
    details->solver = electrons.timings;
    details->route = electrons.route;
  }
  return E;
}

}  // namespace tbrelax
