#include "tb/occupy.hpp"

namespace tbrelax {

double occupy(double E, const std::vector<double>& eps, const common_var& c, const param& par) {
  int r = c.el_count;
  std::size_t k = 0;
  for (; r >= 2 && k < eps.size(); r -= 2, ++k) E += 2 * eps[k];
  if (r == 1 && k < eps.size()) E += eps[k];
  // The free atoms' valence configurations H 1s1, C 2s2 2p2, N 2s2 2p3, O 2s2 2p4, one element at a time.
  E -= c.h_count * par.h(1, 1);
  E -= c.c_count * (2 * par.h(2, 1) + 2 * par.h(2, 2));
  E -= c.n_count * (2 * par.h(3, 1) + 3 * par.h(3, 2));
  E -= c.o_count * (2 * par.h(4, 1) + 4 * par.h(4, 2));
  return E;
}

}  // namespace tbrelax
