#pragma once
// The occupation step's energy: band energy of the occupied orbitals and the free-atom
// reference. (P and W of the same occupation are formed by the electronic solver.)

#include <vector>

#include "state/common_var.hpp"
#include "state/param.hpp"

namespace tbrelax {

// E holds the repulsive energy on entry. Adds 2 eps_k for each doubly occupied orbital (one
// eps_k for a last, singly occupied one when el_count is odd), filling strictly in the order
// of the sorted eigenvalues, then subtracts the free-atom energies element by element:
// the result is the binding energy.
double occupy(double E, const std::vector<double>& eps, const common_var& c, const param& par);

}  // namespace tbrelax
