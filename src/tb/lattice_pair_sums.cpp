#include "tb/lattice_pair_sums.hpp"

#include <cmath>
#include <complex>

#include "state/element.hpp"
#include "tb/bloch_assembly.hpp"
#include "tb/overlap_table.hpp"
#include "tb/periodic_evaluation.hpp"
#include "tb/repulsion.hpp"

namespace tbrelax {
namespace {

using vec3 = std::array<double, 3>;

// Central-difference derivative of a term's pair block with respect to the image position of b.
void block_derivatives(int ta, int tb, const vec3& ra, const vec3& rb, const param& par, const overlap_table& table,
                       pair_block d[3]) {
  for (int axis = 0; axis < 3; ++axis) {
    vec3 plus = rb, minus = rb;
    plus[axis] += pair_block_step;
    minus[axis] -= pair_block_step;
    pair_block up{}, down{};
    pair_elements(ta, tb, ra, plus, par, table, up);
    pair_elements(ta, tb, ra, minus, par, table, down);
    const double width = plus[axis] - minus[axis];
    for (int mu = 0; mu < 4; ++mu)
      for (int nu = 0; nu < 4; ++nu) {
        d[axis].s[mu][nu] = (up.s[mu][nu] - down.s[mu][nu]) / width;
        d[axis].h[mu][nu] = (up.h[mu][nu] - down.h[mu][nu]) / width;
      }
  }
}

// One term's share: its repulsion, its overlap population and, through the term and its mirror
// (b, a, -T), the derivatives of the band and repulsive energies with respect to r_b.
struct term_share {
  double repulsion = 0, overlap_population = 0;
  vec3 band_slope{}, repulsive_slope{};
};

vec3 separation(const common_var& c, const lattice_term& term) {
  return {c.x[term.b] + term.T[0] - c.x[term.a], c.y[term.b] + term.T[1] - c.y[term.a],
          c.z[term.b] + term.T[2] - c.z[term.a]};
}

}  // namespace

lattice_pair_sums sum_lattice_pairs(const common_var& c, const param& par, const std::vector<lattice_term>& terms,
                                    const std::vector<pair_block>& blocks, const std::vector<kpoint>& kpoints,
                                    const std::vector<kpoint_densities>& densities, bool stress) {
  const std::size_t nk = kpoints.size();
  const std::vector<int> offset = basis_offsets(c);
  const overlap_table table(par);
  std::vector<phase_table> phases;
  for (const kpoint& k : kpoints) phases.emplace_back(k, terms);

  std::vector<term_share> shares(terms.size());
#pragma omp parallel for schedule(dynamic, 64)
  for (std::size_t t = 0; t < terms.size(); ++t) {
    const lattice_term& term = terms[t];
    const int a = term.a, b = term.b, ta = c.at_type[a], tb = c.at_type[b];
    const vec3 ra{c.x[a], c.y[a], c.z[a]};
    const vec3 rb{c.x[b] + term.T[0], c.y[b] + term.T[1], c.z[b] + term.T[2]};
    const vec3 d = separation(c, term);
    const double R = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
    term_share& share = shares[t];
    share.repulsion = repulsive_pair_energy(ta, tb, R, par);
    // P(T) and W(T) of the term's block: sum_k w_k Re(exp(-i k.T) P(k)).
    const int na = basis_size_of(ta), nb = basis_size_of(tb);
    double P[4][4] = {}, W[4][4] = {};
    for (std::size_t k = 0; k < nk; ++k) {
      const kpoint_densities& D = densities[k];
      const std::complex<double> phase = kpoints[k].weight * phases[k](term.n);
      const double cs = phase.real(), sn = phase.imag();
      const bool complex = D.P_im.rows() > 0;
      for (int nu = 0; nu < nb; ++nu)
        for (int mu = 0; mu < na; ++mu) {
          const int i = offset[a] + mu, j = offset[b] + nu;
          P[mu][nu] += cs * D.P_re(i, j) + (complex ? sn * D.P_im(i, j) : 0.0);
          W[mu][nu] += cs * D.W_re(i, j) + (complex ? sn * D.W_im(i, j) : 0.0);
        }
    }
    for (int mu = 0; mu < na; ++mu)
      for (int nu = 0; nu < nb; ++nu) share.overlap_population += P[mu][nu] * blocks[t].s[mu][nu];
    // A self-image block depends on T alone: it exerts no force but strains with the cell.
    if (a == b && !stress) continue;
    const double slope = repulsive_pair_slope(ta, tb, R, par);
    pair_block dB[3];
    block_derivatives(ta, tb, ra, rb, par, table, dB);
    for (int axis = 0; axis < 3; ++axis) {
      // The term and its mirror contribute alike: twice sum P dH - W dS.
      double g = 0;
      for (int mu = 0; mu < na; ++mu)
        for (int nu = 0; nu < nb; ++nu) g += P[mu][nu] * dB[axis].h[mu][nu] - W[mu][nu] * dB[axis].s[mu][nu];
      share.band_slope[axis] = 2 * g;
      share.repulsive_slope[axis] = slope * d[axis] / R;
    }
  }

  // The shares in the order of the terms.
  lattice_pair_sums sums;
  sums.electronic_force.assign(c.at_count, vec3{0, 0, 0});
  sums.repulsive_force.assign(c.at_count, vec3{0, 0, 0});
  sums.overlap_population.assign(c.at_count, 0.0);
  for (std::size_t t = 0; t < terms.size(); ++t) {
    const term_share& share = shares[t];
    const int a = terms[t].a, b = terms[t].b;
    sums.repulsion += share.repulsion;
    // Mulliken: the block's overlap population goes to a's functions and, through the mirror
    // term, as much to b's.
    sums.overlap_population[a] += share.overlap_population;
    sums.overlap_population[b] += share.overlap_population;
    // Virial: a homogeneous strain eps moves the separation by eps d, so dF/deps_ij gathers
    // dF/dd_i d_j over every term.
    if (stress) {
      const vec3 d = separation(c, terms[t]);
      for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
          sums.strain_derivative[i][j] += (share.band_slope[i] + share.repulsive_slope[i]) * d[j];
    }
    if (a == b) continue;
    for (int axis = 0; axis < 3; ++axis) {
      sums.electronic_force[b][axis] -= share.band_slope[axis];
      sums.electronic_force[a][axis] += share.band_slope[axis];
      sums.repulsive_force[b][axis] -= share.repulsive_slope[axis];
      sums.repulsive_force[a][axis] += share.repulsive_slope[axis];
    }
  }
  return sums;
}

}  // namespace tbrelax
