#pragma once
// Pulling pairs: a constant force F (eV/angstrom) along the axis of two atoms, positive pushing
// them apart. The model's four built-in pairs and the pairs of a force-probe relaxation act
// through these two functions.

#include "state/common_var.hpp"

namespace tbrelax {

struct pulling_pair {
  int a = 0, b = 0;  // atoms, counted from 1
  double F = 0;      // eV/angstrom
};

// With D = r_b - r_a and L = |D|: adds F D/L to the total force on b and subtracts it from
// that on a. A pair naming an atom the molecule does not have, or two atoms closer than
// 1e-10 angstrom, does nothing.
void apply_pulling_pair(common_var& c, const pulling_pair& p);

// The potential whose minus gradient those forces are, -F L (0 where the pair does nothing):
// a minimiser of E - F L sees forces and energy that agree.
double pulling_energy(const common_var& c, const pulling_pair& p);

}  // namespace tbrelax
