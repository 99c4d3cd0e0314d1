#include "tb/overlap_table.hpp"

#include <algorithm>

namespace tbrelax {

using namespace overlap_detail;

// Each entry is made exactly as the kernels would make it on the fly (same orientation, same
// branch test), which is what keeps the table invisible in the results.
overlap_table::overlap_table(const param& par) : ksi_(par.ksi) {
  constexpr int hydrogen = 1, s = 1, p = 2;
  const double zh = ksi_(hydrogen, s);
  for (int j = 2; j <= 4; ++j) {
    if (ksi_(j, s) != zh) h_s_[j - 1] = form_1s_2s(zh, ksi_(j, s));
    if (ksi_(j, p) != zh) h_p_[j - 1] = form_1s_2p(zh, ksi_(j, p));
  }
  for (int i = 2; i <= 4; ++i) {
    for (int j = 2; j <= 4; ++j) {
      const double si = ksi_(i, s), sj = ksi_(j, s), pi = ksi_(i, p), pj = ksi_(j, p);
      if (si != sj) s_s_[index(i, j)] = form_2s_2s(std::max(si, sj), std::min(si, sj));
      if (!s_p_takes_mean_exponent(si, pj)) s_p_[index(i, j)] = form_2s_2p(si, pj);
      if (pi != pj) p_p_[index(i, j)] = form_2p_2p(std::max(pi, pj), std::min(pi, pj));
    }
  }
}

}  // namespace tbrelax
