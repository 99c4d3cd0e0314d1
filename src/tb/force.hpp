#pragma once
// One evaluation of the energy model: the binding energy and the force on every atom.

#include <functional>
#include <vector>

#include "io/console.hpp"
#include "linalg/electronic_solver.hpp"
#include "state/common_var.hpp"
#include "state/param.hpp"

namespace tbrelax {

// The n x n matrices of an evaluation, kept from one evaluation to the next by a caller that
// evaluates again and again (a relaxation): allocating and faulting in that storage anew costs
// about a fifth of an evaluation at n ~ 1000. Nothing of one evaluation is read by the next.
struct evaluation_workspace {
  matrix S, H;
  electronic_result electrons;
  // (P S)_mu,mu of every basis function where an electronic_step did the work and S and P are
  // not held here; empty otherwise.
  std::vector<double> populations;
};

class displacement_view;

// The electronic part of an evaluation done without the n x n matrices of the workspace (by
// processes that share them, each holding a part). At c's coordinates: the orbital energies,
// negative overlap eigenvalues, route and timings into `out` (its P and W stay empty), felx..felz
// of every atom for the displacements of `view`, and (P S)_mu,mu into `populations`.
class electronic_step {
 public:
  virtual ~electronic_step() = default;
  virtual void run(common_var& c, const param& par, const displacement_view& view, electronic_result& out,
                   std::vector<double>& populations) = 0;
};

// What an evaluation needs besides the molecule: the model constants, the electronic solver,
// the console on which the electronic step reports a non-positive overlap matrix, optionally a
// workspace (without one, every call allocates its own), and optionally a check that force
// runs first of all and that throws `interrupted` when the user has asked to stop (a signal in
// the programs, Ctrl-C in Python). Every loop over evaluations (relaxations, Hessians) thus
// stops within one evaluation, before anything of the next is computed or written.
struct energy_model {
  const param& par;
  electronic_solver& solver;
  console& con;
  evaluation_workspace* workspace = nullptr;
  std::function<void()> interruption_check = {};
  electronic_step* distributed = nullptr;  // where set, it does the electronic part
};

// More of one evaluation than the energy and the forces, for tools and benchmarks.
struct evaluation_details {
  std::vector<double> eps;      // orbital energies, ascending (eV)
  double repulsive_energy = 0;  // eV
  double assembly_seconds = 0;
  double displacement_seconds = 0;  // finite-difference electronic forces
  double repulsion_seconds = 0;
  solver_timings solver;
  electronic_route route = electronic_route::canonical;  // the way the electronic step went
};

// Forward-difference displacement of the electronic forces (angstrom).
inline constexpr double force_displacement = 1e-7;

// At the current coordinates: returns the binding energy (eV) and fills felx..felz (electronic),
// frepx..frepz (repulsive) and fx..fz (their sum plus the pulling pairs), in eV/angstrom.
// The electronic forces are -dE_band/dq = sum W dS/dq - sum P dH/dq with dS/dq and dH/dq from a
// forward difference of each coordinate; a coordinate q is displaced to v = q + d and put back
// as v - d, so it may differ from its old value in the last bit.
// Before the n x n matrices are first allocated, out_of_memory when they cannot fit.
double force(common_var& c, const energy_model& model, evaluation_details* details = nullptr);

// What force() does to the coordinates, and nothing else: each is displaced by
// force_displacement and put back. A caller that skips evaluations (another process does
// them) keeps, with this, the coordinates the evaluations would have left to the bit.
void replay_force_rounding(common_var& c);

}  // namespace tbrelax
