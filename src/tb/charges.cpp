#include "tb/charges.hpp"

#include "state/element.hpp"
#include "tb/assembly.hpp"

namespace tbrelax {

std::vector<double> mulliken_charges(const common_var& c, const evaluation_workspace& w) {
  const matrix& S = w.S;
  const matrix& P = w.electrons.P;
  const int n = S.rows();
  const std::vector<int> offset = basis_offsets(c);
  std::vector<double> q(c.at_count);
  for (int a = 0; a < c.at_count; ++a) {
    double electrons = 0;
    for (int mu = offset[a]; mu < offset[a + 1]; ++mu) {
      if (!w.populations.empty()) {
        electrons += w.populations[mu];
        continue;
      }
      // (P S)_mu,mu = sum_nu P(nu, mu) S(nu, mu): P is symmetric, so two contiguous columns.
      const double* p = P.col(mu);
      const double* s = S.col(mu);
      for (int nu = 0; nu < n; ++nu) electrons += p[nu] * s[nu];
    }
    q[a] = data_of(c.at_type[a]).valence - electrons;
  }
  return q;
}

std::array<double, 3> dipole_moment(const common_var& c, const std::vector<double>& charges) {
  std::array<double, 3> mu{0, 0, 0};
  for (int a = 0; a < c.at_count; ++a) {
    mu[0] += charges[a] * c.x[a];
    mu[1] += charges[a] * c.y[a];
    mu[2] += charges[a] * c.z[a];
  }
  return mu;
}

}  // namespace tbrelax
