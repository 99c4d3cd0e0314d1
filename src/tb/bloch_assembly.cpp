#include "tb/bloch_assembly.hpp"

#include <cmath>
#include <cstdlib>
#include <numbers>

#include "state/element.hpp"

namespace tbrelax {

phase_table::phase_table(const kpoint& k, const std::vector<lattice_term>& terms) {
  for (const lattice_term& t : terms)
    for (int i = 0; i < 3; ++i) reach_[i] = std::max(reach_[i], std::abs(t.n[i]));
  for (int i = 0; i < 3; ++i) {
    for (int m = -reach_[i]; m <= reach_[i]; ++m) {
      const double angle = 2 * std::numbers::pi * k.fraction[i] * m;
      factor_[i].push_back(m == 0 ? 1.0 : std::polar(1.0, angle));
    }
  }
}

std::vector<pair_block> lattice_blocks(const common_var& c, const param& par, const std::vector<lattice_term>& terms) {
  const overlap_table table(par);
  std::vector<pair_block> blocks(terms.size());
#pragma omp parallel for schedule(static) if (terms.size() > 4096)
  for (std::size_t t = 0; t < terms.size(); ++t) {
    const lattice_term& term = terms[t];
    const std::array<double, 3> ra{c.x[term.a], c.y[term.a], c.z[term.a]};
    const std::array<double, 3> rb{c.x[term.b] + term.T[0], c.y[term.b] + term.T[1], c.z[term.b] + term.T[2]};
    pair_elements(c.at_type[term.a], c.at_type[term.b], ra, rb, par, table, blocks[t]);
  }
  return blocks;
}

void bloch_matrices(const common_var& c, const param& par, const std::vector<lattice_term>& terms,
                    const std::vector<pair_block>& blocks, matrix& S, matrix& H) {
  const std::vector<int> offset = basis_offsets(c);
  const int n = c.wfunc_count;
  if (S.rows() != n) S = matrix(n);
  if (H.rows() != n) H = matrix(n);
  S.fill(0.0);
  H.fill(0.0);
  for (int a = 0; a < c.at_count; ++a) {
    pair_block own{};
    own_block(c.at_type[a], par, own);
    for (int mu = 0; mu < basis_size_of(c.at_type[a]); ++mu) {
      S(offset[a] + mu, offset[a] + mu) += own.s[mu][mu];
      H(offset[a] + mu, offset[a] + mu) += own.h[mu][mu];
    }
  }
  // Every phase is 1: block (a, b) and its transpose (b, a) take the term's block as it is.
  for (std::size_t t = 0; t < terms.size(); ++t) {
    const lattice_term& term = terms[t];
    const int na = basis_size_of(c.at_type[term.a]), nb = basis_size_of(c.at_type[term.b]);
    for (int mu = 0; mu < na; ++mu)
      for (int nu = 0; nu < nb; ++nu) {
        const int i = offset[term.a] + mu, j = offset[term.b] + nu;
        const double s = blocks[t].s[mu][nu], h = blocks[t].h[mu][nu];
        S(i, j) += s, S(j, i) += s;
        H(i, j) += h, H(j, i) += h;
      }
  }
}

void bloch_matrices(const common_var& c, const param& par, const std::vector<lattice_term>& terms,
                    const std::vector<pair_block>& blocks, const kpoint& k, complex_matrix& S, complex_matrix& H) {
  const std::vector<int> offset = basis_offsets(c);
  const int n = c.wfunc_count;
  for (complex_matrix* M : {&S, &H}) {
    if (M->rows() != n) *M = complex_matrix(n);
    M->re.fill(0.0);
    M->im.fill(0.0);
  }
  for (int a = 0; a < c.at_count; ++a) {
    pair_block own{};
    own_block(c.at_type[a], par, own);
    for (int mu = 0; mu < basis_size_of(c.at_type[a]); ++mu) {
      S.re(offset[a] + mu, offset[a] + mu) += own.s[mu][mu];
      H.re(offset[a] + mu, offset[a] + mu) += own.h[mu][mu];
    }
  }
  const phase_table phases(k, terms);
  for (std::size_t t = 0; t < terms.size(); ++t) {
    const lattice_term& term = terms[t];
    const std::complex<double> phase = phases(term.n);
    const double cs = phase.real(), sn = phase.imag();
    const int na = basis_size_of(c.at_type[term.a]), nb = basis_size_of(c.at_type[term.b]);
    // Block (a, b) takes exp(i k.T) B, block (b, a) its Hermitian transpose.
    for (int mu = 0; mu < na; ++mu)
      for (int nu = 0; nu < nb; ++nu) {
        const int i = offset[term.a] + mu, j = offset[term.b] + nu;
        const double s = blocks[t].s[mu][nu], h = blocks[t].h[mu][nu];
        S.re(i, j) += cs * s, S.im(i, j) += sn * s;
        H.re(i, j) += cs * h, H.im(i, j) += sn * h;
        S.re(j, i) += cs * s, S.im(j, i) -= sn * s;
        H.re(j, i) += cs * h, H.im(j, i) -= sn * h;
      }
  }
}

}  // namespace tbrelax
