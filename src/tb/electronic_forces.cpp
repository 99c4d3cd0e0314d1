#include "tb/electronic_forces.hpp"

#include "state/element.hpp"
#include "tb/assembly.hpp"

namespace tbrelax {

displacement_view::displacement_view(const common_var& c, double d) : c_(c), d_(d) {
  const std::vector<double>* q[3] = {&c.x, &c.y, &c.z};
  for (int k = 0; k < 3; ++k) {
    restored_[k].resize(c.at_count);
    for (int a = 0; a < c.at_count; ++a) restored_[k][a] = ((*q[k])[a] + d) - d;
  }
}

std::array<double, 3> displacement_view::position(int j, int i, int axis) const {
  const std::vector<double>* q[3] = {&c_.x, &c_.y, &c_.z};
  std::array<double, 3> p;
  for (int k = 0; k < 3; ++k) p[k] = (j < i || (j == i && k < axis)) ? restored_[k][j] : (*q[k])[j];
  if (j == i && axis < 3) p[axis] = (*q[axis])[i] + d_;
  return p;
}

namespace {

// The columns of atom i in S and H (n rows, one column per basis function of i) with atom i
// displaced along `axis`, turned into the difference quotients dS and dH. The atom's own block
// does not move, so it keeps the undisplaced values and its quotients are zero.
void strip_derivatives(const common_var& c, const param& par, const overlap_table& table, const displacement_view& view,
                       const std::vector<int>& offset, int i, int axis, const matrix& S0, const matrix& H0,
                       std::vector<double>& dS, std::vector<double>& dH) {
  const std::size_t n = S0.rows();
  const int ti = c.at_type[i], nb = basis_size_of(ti), off = offset[i];
  for (int col = 0; col < nb; ++col)
    for (std::size_t mu = 0; mu < n; ++mu) {
      dS[mu + col * n] = S0(mu, off + col);
      dH[mu + col * n] = H0(mu, off + col);
    }
  const std::array<double, 3> ri = view.position(i, i, axis);
  pair_block block;
  for (int j = 0; j < c.at_count; ++j) {
    if (j == i) continue;
    const int tj = c.at_type[j], nj = basis_size_of(tj);
    const std::array<double, 3> rj = view.position(j, i, axis);
    // The earlier atom of the pair owns the rows of its block; the lower triangle mirrors it.
    if (j < i) {
      pair_elements(tj, ti, rj, ri, par, table, block);
      for (int mu = 0; mu < nj; ++mu)
        for (int nu = 0; nu < nb; ++nu) {
          dS[offset[j] + mu + nu * n] = block.s[mu][nu];
          dH[offset[j] + mu + nu * n] = block.h[mu][nu];
        }
    } else {
      pair_elements(ti, tj, ri, rj, par, table, block);
      for (int mu = 0; mu < nb; ++mu)
        for (int nu = 0; nu < nj; ++nu) {
          dS[offset[j] + nu + mu * n] = block.s[mu][nu];
          dH[offset[j] + nu + mu * n] = block.h[mu][nu];
        }
    }
  }
  const double d = view.displacement();
  for (int col = 0; col < nb; ++col)
    for (std::size_t mu = 0; mu < n; ++mu) {
      dS[mu + col * n] = (dS[mu + col * n] - S0(mu, off + col)) / d;
      dH[mu + col * n] = (dH[mu + col * n] - H0(mu, off + col)) / d;
    }
}

// sum W dS - sum P dH over the whole matrices, each sum in storage order (column by column),
// visiting only the rows and columns of the displaced atom, where dS and dH can be non-zero.
// P and W are exactly symmetric (every solver mirrors one triangle onto the other), so row
// off + col is read as column off + col: the same numbers in the same order, from contiguous
// memory instead of one cache line per column.
double contraction(int off, int nb, const matrix& P, const matrix& W, const std::vector<double>& dS,
                   const std::vector<double>& dH) {
  const std::size_t n = P.rows();
  double sum_w = 0.0, sum_p = 0.0;
  for (std::size_t nu = 0; nu < n; ++nu) {
    if (nu >= static_cast<std::size_t>(off) && nu < static_cast<std::size_t>(off + nb)) {
      const std::size_t col = nu - off;
      const double* w = W.col(nu);
      const double* p = P.col(nu);
      for (std::size_t mu = 0; mu < n; ++mu) {
        sum_w += w[mu] * dS[mu + col * n];
        sum_p += p[mu] * dH[mu + col * n];
      }
    } else {
      for (int col = 0; col < nb; ++col) {
        sum_w += W.col(off + col)[nu] * dS[nu + col * n];
        sum_p += P.col(off + col)[nu] * dH[nu + col * n];
      }
    }
  }
  return sum_w - sum_p;
}

}  // namespace

void electronic_forces(common_var& c, const param& par, const displacement_view& view, const matrix& S0,
                       const matrix& H0, const matrix& P, const matrix& W) {
  const std::vector<int> offset = basis_offsets(c);
  const overlap_table table(par);
  std::vector<double>* fel[3] = {&c.felx, &c.fely, &c.felz};
  const std::size_t n = S0.rows();
#pragma omp parallel if (c.at_count > 8)
  {
    std::vector<double> dS(4 * n), dH(4 * n);
#pragma omp for schedule(dynamic)
    for (int i = 0; i < c.at_count; ++i)
      for (int axis = 0; axis < 3; ++axis) {
        strip_derivatives(c, par, table, view, offset, i, axis, S0, H0, dS, dH);
        (*fel[axis])[i] = contraction(offset[i], basis_size_of(c.at_type[i]), P, W, dS, dH);
      }
  }
}

}  // namespace tbrelax
