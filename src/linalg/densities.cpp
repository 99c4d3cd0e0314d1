#include "linalg/densities.hpp"

#include <algorithm>
#include <chrono>

#include "linalg/products.hpp"

namespace tbrelax {

void form_densities(const matrix& C, const std::vector<double>& eps, int electrons, electronic_result& out) {
  const auto start = std::chrono::steady_clock::now();
  const int occupied = std::min<int>(occupied_count(electrons), C.cols());
  std::vector<double> f(occupied), f_eps(occupied);
  for (int k = 0; k < occupied; ++k) {
    f[k] = occupation(k, electrons);
    f_eps[k] = f[k] * eps[k];
  }
  weighted_outer_sum(C, f, out.P);
  weighted_outer_sum(C, f_eps, out.W);
  out.timings.densities += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace tbrelax
