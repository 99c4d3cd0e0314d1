#pragma once
// S, H and the electronic forces from a part of the n x n matrices only: the elements at a
// set of rows and a set of columns (a process's blocks of a matrix laid out over many). The
// values are those of assemble_overlap / assemble_hamiltonian and of electronic_forces, so a
// caller that holds every part holds the whole evaluation.

#include <span>
#include <vector>

#include "state/common_var.hpp"
#include "state/param.hpp"
#include "tb/electronic_forces.hpp"

namespace tbrelax {

// The elements of a part: rows[r] and cols[k] are global basis indices (ascending), and the
// element (rows[r], cols[k]) lives at data[r + k * ld].
struct matrix_part {
  std::span<const int> rows, cols;
  int ld = 0;
};

// S and H at the part's elements, bit for bit what the full assembly puts there (both
// triangles: a lower element comes from the same pair call as its upper mirror).
void assemble_part(const common_var& c, const param& par, const matrix_part& part, double* S, double* H);

// Per atom i and axis k, the part's share of sum W dS - sum P dH for atom i displaced along k,
// added to terms[3 i + k]. dS and dH are non-zero only in atom i's rows and columns and are
// symmetric, like P and W, so the column strip counts twice and the row strip is left out; the
// atom's own block does not change. The sum over all parts is the electronic force.
void add_force_terms(const common_var& c, const param& par, const displacement_view& view, const matrix_part& part,
                     const double* S0, const double* H0, const double* P, const double* W,
                     std::vector<double>& terms);

// The part's share of (P S)_mu,mu, added to populations[mu] for the part's columns mu.
void add_populations(const matrix_part& part, const double* P, const double* S, std::vector<double>& populations);

}  // namespace tbrelax
