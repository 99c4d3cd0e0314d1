#include "state/coincident_atoms.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

namespace tbrelax {

std::optional<std::pair<int, int>> find_coincident_atoms(const common_var& c) {
  // Sorted along x, only neighbours within the coincidence distance in x need a full look,
  // so large molecules cost n log n rather than n^2.
  std::vector<int> order(c.at_count);
  std::iota(order.begin(), order.end(), 0);
  std::sort(order.begin(), order.end(), [&](int a, int b) { return c.x[a] < c.x[b]; });
  std::optional<std::pair<int, int>> first;
  for (std::size_t k = 0; k < order.size(); ++k)
    for (std::size_t l = k + 1; l < order.size() && c.x[order[l]] - c.x[order[k]] < coincidence_distance; ++l) {
      const int i = std::min(order[k], order[l]), j = std::max(order[k], order[l]);
      const double d = std::hypot(c.x[i] - c.x[j], c.y[i] - c.y[j], c.z[i] - c.z[j]);
      if (d < coincidence_distance && (!first || std::pair{i, j} < *first)) first = std::pair{i, j};
    }
  return first;
}

}  // namespace tbrelax
