#pragma once
// One checked evaluation of the energy model and what can be read off it: the frontier
// orbitals and the largest force. Shared by the relaxation loop and the batch tools.

#include <optional>

#include "state/common_var.hpp"
#include "tb/force.hpp"

namespace tbrelax {

// force(), then numerical_error (without a file) when the energy or any total force is not a
// finite number: no step of a program may go on from such a state.
double evaluate_finite(common_var& c, const energy_model& model, evaluation_details* details = nullptr);

// Orbitals counted from 0 in ascending order of energy. The HOMO is the highest orbital with a
// non-zero occupation (el_count / 2 doubly occupied, plus a singly occupied one when el_count is
// odd); the LUMO the next one, absent when the basis has no more orbitals.
struct frontier_orbitals {
  int homo = 0;
  std::optional<int> lumo;
};
frontier_orbitals find_frontier_orbitals(int electrons, int orbitals);

// The atom (from 0) with the largest total force |(fx, fy, fz)| and that magnitude; the first
// such atom on a tie. Needs at least one atom.
struct largest_force {
  int atom = 0;
  double magnitude = 0;
};
largest_force find_largest_force(const common_var& c);

}  // namespace tbrelax
