#pragma once
// Real-space blocks S(T), H(T) of the lattice terms and their Bloch sums at a wavevector k:
// S(k)_mu,nu = sum_T exp(i k.T) S_ab(T)_mu,nu, likewise H(k).

#include <array>
#include <vector>

#include "linalg/matrix.hpp"
#include "state/common_var.hpp"
#include "state/param.hpp"
#include "tb/assembly.hpp"
#include "tb/lattice_terms.hpp"

namespace tbrelax {

// The pair block of every term: atom a at r_a, the image of b at r_b + T.
std::vector<pair_block> lattice_blocks(const common_var& c, const param& par, const std::vector<lattice_term>& terms);

// S(k) and H(k) with both triangles filled. At k = 0 (`embedded` false) the n x n real
// matrices. Otherwise the 2n x 2n real symmetric embedding [[Re, -Im], [Im, Re]] of the
// Hermitian matrices, whose eigenpairs are those of the complex problem, each twice.
void bloch_matrices(const common_var& c, const param& par, const std::vector<lattice_term>& terms,
                    const std::vector<pair_block>& blocks, const std::array<double, 3>& k, bool embedded, matrix& S,
                    matrix& H);

}  // namespace tbrelax
