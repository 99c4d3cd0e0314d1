#include "linalg/route_solver.hpp"

#include <algorithm>

#include "linalg/overlap_definiteness.hpp"
#include "linalg/stopwatch.hpp"

namespace tbrelax {

const char* route_name(electronic_route route) {
  return route == electronic_route::cholesky ? "cholesky" : "canonical";
}

void route_solver::solve(const matrix& H, const matrix& S, int electrons, electronic_result& out) {
  out.timings = {};
  out.negative_overlaps.clear();
  if (S.rows() > 0 && try_cholesky(H, S, electrons, out)) {
    out.route = electronic_route::cholesky;
    return;
  }
  out.route = electronic_route::canonical;
  solve_canonical(H, S, electrons, out);
}

bool route_solver::try_cholesky(const matrix& H, const matrix& S, int electrons, electronic_result& out) {
  if (!factor_overlap(S, pivots_, out.timings)) return false;
  const auto start = stopwatch_clock::now();
  const bool trusted = check_overlap_factor(S, pivots_, [this](std::vector<double>& x) { solve_with_overlap(x); }).trusted;
  out.timings.products += seconds_since(start);
  if (!trusted) return false;
  const int orbitals = std::min(occupied_count(electrons), S.rows());
  if (!occupied_orbitals(H, orbitals, out.eps, out.timings)) return false;
  densities(electrons, out);
  return true;
}

}  // namespace tbrelax
