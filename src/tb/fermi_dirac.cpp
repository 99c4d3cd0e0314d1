#include "tb/fermi_dirac.hpp"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

#include "state/physical_constants.hpp"

namespace tbrelax {
namespace {

struct level {
  double eps;
  double weight;
  int k, n;
};

// g = f / 2 = 1 / (1 + e^x) and the hole 1 - g for x = (eps - mu) / k_B T, each formed from an
// exponential that cannot overflow, so that both keep their relative precision when tiny.
struct share {
  double g, hole;
};
share fermi_share(double x) {
  if (x > 0) {
    const double t = std::exp(-x);
    return {t / (1 + t), 1 / (1 + t)};
  }
  const double t = std::exp(x);
  return {1 / (1 + t), t / (1 + t)};
}

// -[g ln g + (1 - g) ln(1 - g)] = ln(1 + e^-|x|) + |x| e^-|x| / (1 + e^-|x|), even in x.
double mixing_entropy(double x) {
  const double y = std::abs(x);
  const double t = std::exp(-y);
  return t == 0 ? 0.0 : std::log1p(t) + y * t / (1 + t);
}

// The occupations of the limit T -> 0, per level in the order of `levels` (ascending).
struct zero_temperature {
  std::vector<double> f;
  double fermi_level = 0;
  bool degenerate_edge = false;
};

zero_temperature fill_from_below(const std::vector<level>& levels, int electrons) {
  zero_temperature z;
  z.f.assign(levels.size(), 0.0);
  // Sums of weights such as 1/9 miss whole electron counts by rounding.
  const double slack = 1e-12 * std::max(1, electrons);
  double remaining = electrons;
  std::size_t i = 0;
  bool partial = false;
  while (i < levels.size() && remaining > slack) {
    std::size_t j = i;
    double capacity = 0;
    for (; j < levels.size() && levels[j].eps - levels[i].eps <= degenerate_level_tolerance; ++j)
      capacity += 2 * levels[j].weight;
    const double f = capacity <= remaining + slack ? 2.0 : 2 * remaining / capacity;
    for (std::size_t l = i; l < j; ++l) z.f[l] = f;
    if (f < 2) {
      partial = true;
      z.fermi_level = levels[i].eps;
      z.degenerate_edge = j - i > 1;
    }
    remaining -= f < 2 ? remaining : capacity;
    i = j;
  }
  if (partial) return z;
  if (electrons == 0) z.fermi_level = levels.front().eps;
  else if (i == levels.size()) z.fermi_level = levels.back().eps;
  else z.fermi_level = 0.5 * (levels[i - 1].eps + levels[i].eps);
  return z;
}

// sum_l w_l (f_l - f0_l) at mu: the electron count minus the target, each term formed so that
// the tails of filled and empty levels are exact however small.
double count_excess(const std::vector<level>& levels, const std::vector<double>& f0, double mu, double kT) {
  double excess = 0;
  for (std::size_t l = 0; l < levels.size(); ++l) {
    const share s = fermi_share((levels[l].eps - mu) / kT);
    const double d = f0[l] == 2 ? -2 * s.hole : f0[l] == 0 ? 2 * s.g : 2 * s.g - f0[l];
    excess += levels[l].weight * d;
  }
  return excess;
}

// The root of the increasing count_excess, starting from the T = 0 Fermi level: a bracket by
// doubling steps, then bisection until the bracket holds no double between its ends.
double chemical_potential(const std::vector<level>& levels, const std::vector<double>& f0, double mu0, double kT) {
  const auto excess = [&](double mu) { return count_excess(levels, f0, mu, kT); };
  double d0 = excess(mu0);
  if (d0 == 0) return mu0;
  double lo = mu0, hi = mu0, dlo = d0, dhi = d0;
  for (double step = kT; (d0 < 0 ? dhi < 0 : dlo > 0) && std::isfinite(step); step *= 2) {
    if (d0 < 0) {
      lo = hi, dlo = dhi;
      hi = mu0 + step, dhi = excess(hi);
    } else {
      hi = lo, dhi = dlo;
      lo = mu0 - step, dlo = excess(lo);
    }
  }
  if (dlo == 0) return lo;
  if (dhi == 0) return hi;
  while (true) {
    const double mid = lo + 0.5 * (hi - lo);
    if (mid <= lo || mid >= hi) break;
    const double d = excess(mid);
    if (d == 0) return mid;
    (d < 0 ? lo : hi) = mid;
    (d < 0 ? dlo : dhi) = d;
  }
  return std::abs(dlo) <= std::abs(dhi) ? lo : hi;
}

// At temperatures so low that one step of mu between neighbouring doubles moves the count by
// more than rounding (1e-11 electrons at 1e-3 K), the count left over is given to the levels as a
// step of mu well below a double's spacing would: in proportion to df/dmu, that is f (2 - f).
void settle_count(const std::vector<level>& levels, std::vector<double>& f, int electrons) {
  double count = 0, slope = 0;
  for (std::size_t l = 0; l < levels.size(); ++l) {
    count += levels[l].weight * f[l];
    slope += levels[l].weight * f[l] * (2 - f[l]);
  }
  if (!(slope > 0)) return;
  const double step = (electrons - count) / slope;
  for (double& v : f) v = std::clamp(v + step * v * (2 - v), 0.0, 2.0);
}

}  // namespace

band_occupations occupy_bands(const std::vector<std::vector<double>>& eps, const std::vector<double>& weights,
                              int electrons, double temperature_K) {
  if (!(temperature_K >= 0) || !std::isfinite(temperature_K))
    throw std::invalid_argument("the electronic temperature must be a finite number of kelvin, at least 0");
  const std::size_t bands = eps.empty() ? 0 : eps.front().size();
  if (eps.empty() || weights.size() != eps.size() || electrons < 0 || std::size_t(electrons) > 2 * bands)
    throw std::invalid_argument("occupy_bands: " + std::to_string(electrons) + " electrons in " +
                                std::to_string(bands) + " levels per k-point");

  std::vector<level> levels;
  for (std::size_t k = 0; k < eps.size(); ++k)
    for (std::size_t n = 0; n < bands; ++n) levels.push_back({eps[k][n], weights[k], int(k), int(n)});
  std::stable_sort(levels.begin(), levels.end(), [](const level& a, const level& b) { return a.eps < b.eps; });

  const zero_temperature z = fill_from_below(levels, electrons);
  band_occupations out;
  out.f.assign(eps.size(), std::vector<double>(bands, 0.0));
  out.fermi_level = z.fermi_level;
  const double kT = boltzmann_ev * temperature_K;
  // Nothing to share out when every level is empty or full: mu is then at minus or plus infinity.
  const bool smeared = kT > 0 && electrons > 0 && std::size_t(electrons) < 2 * bands;
  if (smeared) out.fermi_level = chemical_potential(levels, z.f, z.fermi_level, kT);
  else out.degenerate_edge = z.degenerate_edge;

  std::vector<double> f = z.f;
  if (smeared) {
    for (std::size_t l = 0; l < levels.size(); ++l) f[l] = 2 * fermi_share((levels[l].eps - out.fermi_level) / kT).g;
    settle_count(levels, f, electrons);
  }
  // From x where there is one: a level nearly full keeps its tiny hole's share of the entropy.
  double mixing = 0;
  for (std::size_t l = 0; l < levels.size(); ++l) {
    const double g = f[l] / 2;
    if (smeared) mixing += levels[l].weight * mixing_entropy((levels[l].eps - out.fermi_level) / kT);
    else if (g > 0 && g < 1) mixing -= levels[l].weight * (g * std::log(g) + (1 - g) * std::log1p(-g));
    out.f[levels[l].k][levels[l].n] = f[l];
  }
  for (std::size_t k = 0; k < eps.size(); ++k) {
    double sum = 0;
    for (std::size_t n = 0; n < bands; ++n) sum += out.f[k][n] * eps[k][n];
    out.band_energy += weights[k] * sum;
  }
  out.entropy = 2 * boltzmann_ev * mixing;
  return out;
}

}  // namespace tbrelax
