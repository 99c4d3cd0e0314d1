#pragma once
// The pair terms of a periodic structure: every atom pair (a, b) with every lattice
// translation T that brings the image of b within the truncation radius of a. The model has no
// cut-off, but every pair term decays exponentially with the distance, so the lattice sums stop
// where each neglected term lies below the rounding of the result.

#include <array>
#include <vector>

#include "state/common_var.hpp"
#include "state/param.hpp"
#include "state/periodic_cell.hpp"

namespace tbrelax {

// Largest contribution any one neglected pair term may make (eV): overlap elements weighted by
// the largest on-site energy, Hamiltonian elements and the repulsive pair energy all stay below
// it beyond the truncation radius.
inline constexpr double neglected_term_bound = 1e-15;

// Most lattice translations a structure may need within the truncation radius: a cell that
// needs more is so small (or so flat) that the sums would not end in reasonable time.
inline constexpr long max_lattice_translations = 2000000;

// Truncation radius (angstrom) of the elements ta, tb (1..4): beyond it every overlap element
// times 30 eV, every Hamiltonian element and the repulsive energy of the pair stay below
// neglected_term_bound. Found once by walking the closed forms outward in steps of 0.05 A.
double truncation_radius(int ta, int tb, const param& par);

// One term: atoms a <= b (from 0) and the translation n[0] a1 + n[1] a2 + n[2] a3, which moves
// atom b to r_b + T. For a < b every translation within reach is listed; for a == b only one of
// T and -T (T != 0), since their blocks are transposes of each other.
struct lattice_term {
  int a, b;
  std::array<int, 3> n;
  std::array<double, 3> T;
};

// Throws input_rejected, as lattice_terms does, for a cell that would need more than
// max_lattice_translations translations; checks nothing else and lists nothing.
void check_lattice_reach(const common_var& c, const periodic_cell& cell, const param& par);

// The terms of the structure c in `cell`, in order of a, then b, then translation. Throws
// input_rejected for an atom that coincides with an image of another (or of itself) and for a
// cell that would need more than max_lattice_translations translations.
std::vector<lattice_term> lattice_terms(const common_var& c, const periodic_cell& cell, const param& par);

}  // namespace tbrelax
