#include "tb/local_elements.hpp"

#include "state/element.hpp"
#include "tb/assembly.hpp"
#include "tb/overlap_table.hpp"

namespace tbrelax {
namespace {

// Consecutive entries of a row or column list on one atom: [begin, end) of the list.
struct atom_run {
  int atom, begin, end;
};

std::vector<atom_run> atom_runs(std::span<const int> indices, const std::vector<int>& offset) {
  std::vector<atom_run> runs;
  int atom = 0;
  for (int k = 0; k < int(indices.size()); ++k) {
    while (offset[atom + 1] <= indices[k]) ++atom;
    if (runs.empty() || runs.back().atom != atom)
      runs.push_back({atom, k, k + 1});
    else
      runs.back().end = k + 1;
  }
  return runs;
}

std::array<double, 3> position_of(const common_var& c, int a) { return {c.x[a], c.y[a], c.z[a]}; }

// The block of the pair (a, b) as the full assembly makes it: the earlier atom's functions index
// the rows, so for a > b the block of (b, a) is read transposed.
struct oriented_block {
  pair_block block;
  bool transposed;
  double s(int mu, int nu) const { return transposed ? block.s[nu][mu] : block.s[mu][nu]; }
  double h(int mu, int nu) const { return transposed ? block.h[nu][mu] : block.h[mu][nu]; }
};

void pair_at(const common_var& c, const param& par, const overlap_table& table, int a, int b,
             const std::array<double, 3>& ra, const std::array<double, 3>& rb, oriented_block& out) {
  out.transposed = a > b;
  if (a < b)
    pair_elements(c.at_type[a], c.at_type[b], ra, rb, par, table, out.block);
  else
    pair_elements(c.at_type[b], c.at_type[a], rb, ra, par, table, out.block);
}

}  // namespace

void assemble_part(const common_var& c, const param& par, const matrix_part& part, double* S, double* H) {
  const std::vector<int> offset = basis_offsets(c);
  const overlap_table table(par);
  const std::vector<atom_run> row_runs = atom_runs(part.rows, offset), col_runs = atom_runs(part.cols, offset);
#pragma omp parallel for schedule(dynamic) if (col_runs.size() > 16)
  for (std::size_t run = 0; run < col_runs.size(); ++run) {
    const atom_run& cr = col_runs[run];
    const int b = cr.atom;
    oriented_block pair;
    for (const atom_run& rr : row_runs) {
      const int a = rr.atom;
      if (a == b) {
        own_block(c.at_type[a], par, pair.block);
        pair.transposed = false;
      } else {
        pair_at(c, par, table, a, b, position_of(c, a), position_of(c, b), pair);
      }
      for (int k = cr.begin; k < cr.end; ++k)
        for (int r = rr.begin; r < rr.end; ++r) {
          const int mu = part.rows[r] - offset[a], nu = part.cols[k] - offset[b];
          S[r + std::size_t(k) * part.ld] = pair.s(mu, nu);
          H[r + std::size_t(k) * part.ld] = pair.h(mu, nu);
        }
    }
  }
}

void add_force_terms(const common_var& c, const param& par, const displacement_view& view, const matrix_part& part,
                     const double* S0, const double* H0, const double* P, const double* W,
                     std::vector<double>& terms) {
  const std::vector<int> offset = basis_offsets(c);
  const overlap_table table(par);
  const std::vector<atom_run> row_runs = atom_runs(part.rows, offset), col_runs = atom_runs(part.cols, offset);
  const double d = view.displacement();
#pragma omp parallel for schedule(dynamic) if (col_runs.size() > 16)
  for (std::size_t run = 0; run < col_runs.size(); ++run) {
    const atom_run& cr = col_runs[run];
    const int i = cr.atom;
    oriented_block pair;
    for (int axis = 0; axis < 3; ++axis) {
      const std::array<double, 3> ri = view.position(i, i, axis);
      double sum_w = 0.0, sum_p = 0.0;
      for (const atom_run& rr : row_runs) {
        const int j = rr.atom;
        if (j == i) continue;
        pair_at(c, par, table, j, i, view.position(j, i, axis), ri, pair);
        for (int k = cr.begin; k < cr.end; ++k)
          for (int r = rr.begin; r < rr.end; ++r) {
            const std::size_t at = r + std::size_t(k) * part.ld;
            const int mu = part.rows[r] - offset[j], nu = part.cols[k] - offset[i];
            sum_w += W[at] * ((pair.s(mu, nu) - S0[at]) / d);
            sum_p += P[at] * ((pair.h(mu, nu) - H0[at]) / d);
          }
      }
#pragma omp atomic
      terms[3 * i + axis] += 2.0 * sum_w - 2.0 * sum_p;
    }
  }
}

void add_populations(const matrix_part& part, const double* P, const double* S, std::vector<double>& populations) {
  for (std::size_t k = 0; k < part.cols.size(); ++k) {
    double sum = 0.0;
    for (std::size_t r = 0; r < part.rows.size(); ++r) sum += P[r + k * part.ld] * S[r + k * part.ld];
    populations[part.cols[k]] += sum;
  }
}

}  // namespace tbrelax
