#pragma once
// Relaxation of a periodic structure's atoms and cell together, to zero forces and to a stress
// equal to minus an external pressure. The cell moves by a symmetric deformation F = exp(U) of
// the starting cell; the optimiser sees the atoms in the starting cell's frame (r = F r0) and
// the six components of U scaled by the number of atoms, so that a unit step of a cell
// coordinate changes the energy about as much as moving one atom.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "driver/periodic_relaxation.hpp"
#include "optimize/minimise.hpp"
#include "tb/stress.hpp"

namespace tbrelax {

// Default stop criterion of the stress (eV/angstrom^3): 0.005 GPa, which leaves a crystal's
// lattice constant some 1e-5 of its value from the minimum and a sheet's (20 A of vacuum)
// some 3e-5.
inline constexpr double default_smax = 0.005 / gpa_per_ev_per_cubic_angstrom;

struct cell_relaxation_settings {
  std::string method = "lbfgs";
  double fmax = 0.01;           // eV/angstrom, on the largest force of a free atom
  double smax = default_smax;   // eV/angstrom^3, on the largest free component of sigma + p
  double pressure = 0;          // eV/angstrom^3
  int max_steps = 1000;
  std::array<bool, 6> free{};   // Voigt components of the cell that may change
  bool isotropic = false;       // the free diagonal components change together; no shear
  std::vector<int> fixed;       // atoms (from 0) held at their place relative to the cell
};

// The Voigt components a relaxation may change in `cell`: those between the Cartesian axes its
// periodic vectors span. Throws input_rejected when a sheet's vectors do not lie in a Cartesian
// plane or a chain's vector along a Cartesian axis (the non-periodic directions could not then
// stay as they are), and for a structure with no periodic axis.
std::array<bool, 6> periodic_components(const periodic_cell& cell);

// Told about the starting point and the end of every step.
class cell_step_listener {
 public:
  virtual ~cell_step_listener() = default;
  // c holds the atoms and forces; F the free energy; H = F + p V, what the optimiser lowers.
  virtual void point(int step, const common_var& c, const periodic_cell& cell, double F, double H,
                     const voigt& stress) = 0;
};

struct cell_relaxation_result {
  int steps = 0;
  std::int64_t evaluations = 0;
  stop_reason reason = stop_reason::converged;
  // The cell shrank below a tenth of its starting volume (area, length): the run stopped at the
  // last point before, which c and `cell` hold.
  bool collapsed = false;
  periodic_cell cell;         // at the end
  periodic_evaluation last;   // its evaluation
  voigt stress{};             // eV/angstrom^3
  double enthalpy = 0;        // F + p V
};

// Relaxes c and model.settings.cell together. c ends at the relaxed positions with their
// forces. Throws std::invalid_argument for an unknown method and numerical_error when an
// evaluation is not finite.
cell_relaxation_result relax_with_cell(common_var& c, const periodic_model& model, const cell_relaxation_settings& s,
                                       cell_step_listener* listener = nullptr);

}  // namespace tbrelax
