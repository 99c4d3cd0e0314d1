#include "linalg/densities.hpp"

#include <algorithm>

#include "linalg/products.hpp"
#include "linalg/stopwatch.hpp"

namespace tbrelax {

void form_densities(const matrix& C, const std::vector<double>& eps, int electrons, electronic_result& out) {
  const auto start = stopwatch_clock::now();
  const int occupied = std::min<int>(occupied_count(electrons), C.cols());
  std::vector<double> f(occupied), f_eps(occupied);
  for (int k = 0; k < occupied; ++k) {
    f[k] = occupation(k, electrons);
    f_eps[k] = f[k] * eps[k];
  }
  weighted_outer_sum(C, f, out.P);
  weighted_outer_sum(C, f_eps, out.W);
  out.timings.densities += seconds_since(start);
}

}  // namespace tbrelax
