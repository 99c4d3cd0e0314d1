#include "tb/assembly.hpp"

#include <cmath>

#include "linalg/products.hpp"
#include "state/element.hpp"
#include "tb/overlap_integrals.hpp"
#include "tb/overlap_table.hpp"

namespace tbrelax {
namespace {

using position = std::array<double, 3>;

position position_of(const common_var& c, int a) { return {c.x[a], c.y[a], c.z[a]}; }

// On-site energy of function f (0 = s, 1..3 = p) of an atom of element t.
double onsite(int t, int f, const param& par) { return par.h(t, f == 0 ? 1 : 2); }

// Distance of the pair and the unit vector from a to b.
double separation(const position& ra, const position& rb, double u[3]) {
  const double dx = rb[0] - ra[0], dy = rb[1] - ra[1], dz = rb[2] - ra[2];
  const double R = std::sqrt(dx * dx + dy * dy + dz * dz);
  u[0] = dx / R;
  u[1] = dy / R;
  u[2] = dz / R;
  return R;
}

double pair_factor(int ta, int tb, double R, const param& par) {
  return par.k0(ta, tb) * std::exp(-par.delta(ta, tb) * (R - par.r0(ta, tb)));
}

// The overlap block of a pair at distance R along u. For an s function on one atom and a p_k
// function on the other the element is the s-p sigma integral (s element first) times the
// k-th cosine of the vector from the s atom to the p atom; p-p follows the Slater-Koster rule.
void overlap_block(int ta, int tb, double R, const double u[3], const param& par, const overlap_table& table,
                   double s[4][4]) {
  if (ta == hydrogen && tb == hydrogen) {
    s[0][0] = in1s1s(R, par);
  } else if (ta == hydrogen) {
    const hydrogen_heavy_overlap o = hydrogen_heavy_overlaps(R, tb, table);
    s[0][0] = o.ss;
    for (int k = 0; k < 3; ++k) s[0][1 + k] = o.sp * u[k];
  } else if (tb == hydrogen) {
    const hydrogen_heavy_overlap o = hydrogen_heavy_overlaps(R, ta, table);
    s[0][0] = o.ss;
    for (int k = 0; k < 3; ++k) s[1 + k][0] = -o.sp * u[k];
  } else {
    const heavy_heavy_overlap o = heavy_heavy_overlaps(R, ta, tb, table);
    s[0][0] = o.ss;
    for (int k = 0; k < 3; ++k) {
      s[0][1 + k] = o.sp_ab * u[k];
      s[1 + k][0] = -o.sp_ba * u[k];
      for (int l = 0; l < 3; ++l) {
        const double uu = u[k] * u[l];
        s[1 + k][1 + l] = uu * o.sigma + ((k == l ? 1.0 : 0.0) - uu) * o.pi;
      }
    }
  }
}

// H from S over one block: the mean of the on-site energies times S, times the pair factor
// (an atom's own block takes the factor 1, which leaves every element as it is).
void hamiltonian_block(int ta, int tb, double factor, const param& par, const double s[4][4], double h[4][4]) {
  const int na = basis_size_of(ta), nb = basis_size_of(tb);
  for (int mu = 0; mu < na; ++mu)
    for (int nu = 0; nu < nb; ++nu) h[mu][nu] = 0.5 * (onsite(ta, mu, par) + onsite(tb, nu, par)) * s[mu][nu] * factor;
}

// Calls visit(a, b) for the pairs a <= b that an assembly with only_atom covers, in parallel
// over a when all pairs are wanted.
template <class Visit>
void for_each_pair(int only_atom, int atoms, Visit visit) {
  if (only_atom == all_atoms) {
#pragma omp parallel for schedule(dynamic, 8) if (atoms > 64)
    for (int a = 0; a < atoms; ++a)
      for (int b = a; b < atoms; ++b) visit(a, b);
  } else {
    for (int a = 0; a < only_atom; ++a) visit(a, only_atom);
    for (int b = only_atom; b < atoms; ++b) visit(only_atom, b);
  }
}

}  // namespace

std::vector<int> basis_offsets(const common_var& c) {
  std::vector<int> offsets(c.at_count + 1, 0);
  for (int a = 0; a < c.at_count; ++a) offsets[a + 1] = offsets[a] + basis_size_of(c.at_type[a]);
  return offsets;
}

void pair_elements(int ta, int tb, const position& ra, const position& rb, const param& par,
                   const overlap_table& table, pair_block& out) {
  double u[3];
  const double R = separation(ra, rb, u);
  overlap_block(ta, tb, R, u, par, table, out.s);
  hamiltonian_block(ta, tb, pair_factor(ta, tb, R, par), par, out.s, out.h);
}

void own_block(int t, const param& par, pair_block& out) {
  for (int mu = 0; mu < 4; ++mu)
    for (int nu = 0; nu < 4; ++nu) out.s[mu][nu] = mu == nu ? 1.0 : 0.0;
  hamiltonian_block(t, t, 1.0, par, out.s, out.h);
}

void assemble_overlap(int only_atom, const common_var& c, const param& par, matrix& S) {
  const std::vector<int> offset = basis_offsets(c);
  const overlap_table table(par);
  for_each_pair(only_atom, c.at_count, [&](int a, int b) {
    const int ta = c.at_type[a], tb = c.at_type[b];
    double s[4][4];
    if (a == b) {
      for (int mu = 0; mu < 4; ++mu)
        for (int nu = 0; nu < 4; ++nu) s[mu][nu] = mu == nu ? 1.0 : 0.0;
    } else {
      double u[3];
      const double R = separation(position_of(c, a), position_of(c, b), u);
      overlap_block(ta, tb, R, u, par, table, s);
    }
    for (int mu = 0; mu < basis_size_of(ta); ++mu)
      for (int nu = 0; nu < basis_size_of(tb); ++nu) S(offset[a] + mu, offset[b] + nu) = s[mu][nu];
  });
  mirror_upper(S);
}

void assemble_hamiltonian(int only_atom, const common_var& c, const param& par, const matrix& S, matrix& H) {
  const std::vector<int> offset = basis_offsets(c);
  for_each_pair(only_atom, c.at_count, [&](int a, int b) {
    const int ta = c.at_type[a], tb = c.at_type[b];
    const int na = basis_size_of(ta), nb = basis_size_of(tb);
    double s[4][4], h[4][4];
    for (int mu = 0; mu < na; ++mu)
      for (int nu = 0; nu < nb; ++nu) s[mu][nu] = S(offset[a] + mu, offset[b] + nu);
    double factor = 1.0;
    if (a != b) {
      double u[3];
      factor = pair_factor(ta, tb, separation(position_of(c, a), position_of(c, b), u), par);
    }
    hamiltonian_block(ta, tb, factor, par, s, h);
    for (int mu = 0; mu < na; ++mu)
      for (int nu = 0; nu < nb; ++nu) H(offset[a] + mu, offset[b] + nu) = h[mu][nu];
  });
  mirror_upper(H);
}

void mirror_upper(matrix& M) { mirror_upper_to_lower(M); }

}  // namespace tbrelax
