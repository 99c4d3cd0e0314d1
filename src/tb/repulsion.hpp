#pragma once
// The repulsive pair energy: one exponential per atom pair, no cut-off.

#include <cmath>

#include "io/console.hpp"
#include "state/common_var.hpp"
#include "state/param.hpp"

namespace tbrelax {

// fi0 exp(-betta (r - r0)) for a pair of elements ta, tb at distance r.
inline double repulsive_pair_energy(int ta, int tb, double r, const param& par) {
  return par.fi0(ta, tb) * std::exp(-par.betta(ta, tb) * (r - par.r0(ta, tb)));
}

// Its derivative with respect to r: -betta exp(-betta (r - r0)) fi0.
inline double repulsive_pair_slope(int ta, int tb, double r, const param& par) {
  return -par.betta(ta, tb) * std::exp(-par.betta(ta, tb) * (r - par.r0(ta, tb))) * par.fi0(ta, tb);
}

// Distance between atoms i and j (counted from 0). An index beyond the atom count is reported
// on the console ("ERROR in subroutine dist" and a pause, once per bad index) and then thrown
// as std::out_of_range: no coordinate outside the arrays is ever read.
double dist(int i, int j, const common_var& c, console& con);

// Sum of the pair energy over every pair of atoms, in eV.
double ener_rep(const common_var& c, const param& par, console& con);

}  // namespace tbrelax
