#include "tb/repulsion.hpp"

#include <cmath>
#include <stdexcept>
#include <string>

namespace tbrelax {

double dist(int i, int j, const common_var& c, console& con) {
  bool bad = false;
  for (int index : {i, j})
    if (index >= c.at_count) {
      con.print("ERROR in subroutine dist");
      con.pause();
      bad = true;
    }
  if (bad)
    throw std::out_of_range("dist: atom " + std::to_string(std::max(i, j) + 1) + " of " +
                            std::to_string(c.at_count));
  const double dx = c.x[i] - c.x[j], dy = c.y[i] - c.y[j], dz = c.z[i] - c.z[j];
  return std::sqrt(dx * dx + dy * dy + dz * dz);
}

double ener_rep(const common_var& c, const param& par, console& con) {
  double E = 0.0;
  for (int i = 0; i < c.at_count; ++i)
    for (int j = i + 1; j < c.at_count; ++j)
      E = E + repulsive_pair_energy(c.at_type[i], c.at_type[j], dist(i, j, c, con), par);
  return E;
}

}  // namespace tbrelax
