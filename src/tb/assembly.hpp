#pragma once
// The overlap matrix S and the Hamiltonian H over the minimal valence basis: per atom in input
// order one contiguous block, H 1s, or C/N/O 2s 2px 2py 2pz. Every atom pair contributes,
// whatever its separation.

#include <array>
#include <vector>

#include "linalg/matrix.hpp"
#include "state/common_var.hpp"
#include "state/param.hpp"
#include "tb/overlap_table.hpp"

namespace tbrelax {

inline constexpr int all_atoms = -1;

// First basis function of every atom (counted from 0).
std::vector<int> basis_offsets(const common_var& c);

// The overlap and Hamiltonian elements between atom a (element ta at ra) and atom b (element
// tb at rb), a earlier in the input: row mu is a's function, column nu is b's.
struct pair_block {
  double s[4][4];
  double h[4][4];
};
// `table` holds the overlap constants of `par`, built once for many pairs.
void pair_elements(int ta, int tb, const std::array<double, 3>& ra, const std::array<double, 3>& rb,
                   const param& par, const overlap_table& table, pair_block& out);

// An atom's own block: S the unit matrix, H its on-site energies on the diagonal.
void own_block(int t, const param& par, pair_block& out);

// Writes the upper-triangle elements of the pairs a <= b (all of them, or with only_atom = i
// the pairs that contain atom i, its own block included; others keep their values), then
// mirrors the upper triangle into the lower one.
void assemble_overlap(int only_atom, const common_var& c, const param& par, matrix& S);

// H(mu, nu) = 0.5 (h_mu + h_nu) S(mu, nu) from the upper triangle of S, times the pair
// factor k0 exp(-delta (R - r0)) off the atom's own block; same pairs, then mirrored.
void assemble_hamiltonian(int only_atom, const common_var& c, const param& par, const matrix& S, matrix& H);

// M(l, k) = M(k, l) for l > k.
void mirror_upper(matrix& M);

}  // namespace tbrelax
