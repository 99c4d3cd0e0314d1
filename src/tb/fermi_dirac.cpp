#include "tb/fermi_dirac.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tbrelax {
namespace {

// Occupation 2 g with g = 1 / (1 + exp(x)), and the entropy term -[g ln g + (1-g) ln(1-g)],
// written with exp(-|x|) so that neither overflows.
struct level_filling {
  double f, s;
};
level_filling fill(double x) {
  const double e = std::exp(-std::abs(x));
  const double small = e / (1 + e);  // the smaller of g and 1 - g
  const double g = x > 0 ? small : 1 - small;
  return {2 * g, std::log1p(e) + std::abs(x) * small};
}

double electron_count(const std::vector<std::vector<double>>& eps, const std::vector<double>& w, double mu,
                      double kT) {
  double N = 0;
  for (std::size_t k = 0; k < eps.size(); ++k) {
    double Nk = 0;
    for (double e : eps[k]) Nk += fill((e - mu) / kT).f;
    N += w[k] * Nk;
  }
  return N;
}

band_occupations at_temperature(const std::vector<std::vector<double>>& eps, const std::vector<double>& w,
                                int electrons, double T) {
  const double kT = boltzmann_ev_per_k * T;
  double lo = std::numeric_limits<double>::max(), hi = std::numeric_limits<double>::lowest();
  for (const auto& e : eps)
    if (!e.empty()) {
      lo = std::min(lo, e.front());
      hi = std::max(hi, e.back());
    }
  lo -= 60 * kT + 1;
  hi += 60 * kT + 1;
  // Bisection until the bracket no longer shrinks: the count rises monotonically with mu.
  while (true) {
    const double mid = 0.5 * (lo + hi);
    if (mid <= lo || mid >= hi) break;
    (electron_count(eps, w, mid, kT) < electrons ? lo : hi) = mid;
  }
  band_occupations out;
  out.fermi_level = 0.5 * (lo + hi);
  out.f.resize(eps.size());
  double entropy = 0;
  for (std::size_t k = 0; k < eps.size(); ++k) {
    double Ek = 0, Sk = 0;
    for (double e : eps[k]) {
      const level_filling l = fill((e - out.fermi_level) / kT);
      out.f[k].push_back(l.f);
      Ek += l.f * e;
      Sk += l.s;
    }
    out.band_energy += w[k] * Ek;
    entropy += w[k] * Sk;
  }
  out.entropy = 2 * boltzmann_ev_per_k * entropy;
  return out;
}

band_occupations at_zero_temperature(const std::vector<std::vector<double>>& eps, const std::vector<double>& w,
                                     int electrons) {
  struct level {
    double e;
    std::size_t k, n;
  };
  std::vector<level> levels;
  for (std::size_t k = 0; k < eps.size(); ++k)
    for (std::size_t n = 0; n < eps[k].size(); ++n) levels.push_back({eps[k][n], k, n});
  std::stable_sort(levels.begin(), levels.end(), [](const level& x, const level& y) { return x.e < y.e; });

  band_occupations out;
  out.f.resize(eps.size());
  for (std::size_t k = 0; k < eps.size(); ++k) out.f[k].assign(eps[k].size(), 0.0);
  double left = electrons;
  std::size_t i = 0;
  out.fermi_level = levels.empty() ? 0 : levels.front().e;
  while (i < levels.size() && left > 0) {
    std::size_t j = i;
    double capacity = 0;
    while (j < levels.size() && levels[j].e - levels[i].e <= degeneracy_tolerance) capacity += 2 * w[levels[j++].k];
    const double share = std::min(1.0, left / capacity);
    for (std::size_t m = i; m < j; ++m) out.f[levels[m].k][levels[m].n] = 2 * share;
    left -= share * capacity;
    if (share < 1.0 || left <= capacity * 1e-12) {
      left = 0;
      if (share < 1.0) {
        out.fermi_level = levels[i].e;
        out.degenerate_edge = j - i > 1;
      } else {
        out.fermi_level = j < levels.size() ? 0.5 * (levels[j - 1].e + levels[j].e) : levels[j - 1].e;
      }
    }
    i = j;
  }
  for (std::size_t k = 0; k < eps.size(); ++k) {
    double Ek = 0;
    for (std::size_t n = 0; n < eps[k].size(); ++n) Ek += out.f[k][n] * eps[k][n];
    out.band_energy += w[k] * Ek;
  }
  return out;
}

}  // namespace

band_occupations occupy_bands(const std::vector<std::vector<double>>& eps, const std::vector<double>& weights,
                              int electrons, double temperature_K) {
  return temperature_K > 0 ? at_temperature(eps, weights, electrons, temperature_K)
                           : at_zero_temperature(eps, weights, electrons);
}

}  // namespace tbrelax
