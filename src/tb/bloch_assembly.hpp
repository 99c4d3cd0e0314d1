#pragma once
// Real-space blocks S(T), H(T) of the lattice terms and their Bloch sums at a wavevector k:
// S(k)_mu,nu = sum_T exp(i k.T) S_ab(T)_mu,nu, likewise H(k).

#include <array>
#include <complex>
#include <vector>

#include "linalg/complex_matrix.hpp"
#include "linalg/matrix.hpp"
#include "state/common_var.hpp"
#include "state/param.hpp"
#include "tb/assembly.hpp"
#include "tb/kpoint_grid.hpp"
#include "tb/lattice_terms.hpp"

namespace tbrelax {

// exp(i k.T) for the translations T = sum n_i a_i of a k-point, as the product of one factor
// per axis, exp(2 pi i f_i n_i) with f_i the k-point's fraction of b_i: tabulated once per
// k-point for |n_i| up to the largest of the terms, so a term costs two complex products.
class phase_table {
 public:
  phase_table(const kpoint& k, const std::vector<lattice_term>& terms);
  std::complex<double> operator()(const std::array<int, 3>& n) const {
    return factor_[0][n[0] + reach_[0]] * factor_[1][n[1] + reach_[1]] * factor_[2][n[2] + reach_[2]];
  }

 private:
  std::array<int, 3> reach_{};
  std::array<std::vector<std::complex<double>>, 3> factor_;
};

// The pair block of every term: atom a at r_a, the image of b at r_b + T.
std::vector<pair_block> lattice_blocks(const common_var& c, const param& par, const std::vector<lattice_term>& terms);

// S and H at k = 0, both triangles filled: the real n x n matrices, every image's block added
// with phase 1.
void bloch_matrices(const common_var& c, const param& par, const std::vector<lattice_term>& terms,
                    const std::vector<pair_block>& blocks, matrix& S, matrix& H);

// The Hermitian S(k) and H(k), n x n, real and imaginary parts apart.
void bloch_matrices(const common_var& c, const param& par, const std::vector<lattice_term>& terms,
                    const std::vector<pair_block>& blocks, const kpoint& k, complex_matrix& S, complex_matrix& H);

}  // namespace tbrelax
