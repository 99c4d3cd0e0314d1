#include "hessian/gamma_phonons.hpp"

#include <cmath>

#include "hessian/thermochemistry.hpp"
#include "hessian/vibrations.hpp"
#include "state/errors.hpp"

namespace tbrelax {
namespace {

std::vector<double> forces_of(common_var& c, const param& par, const periodic_settings& s, electronic_solver& solver) {
  evaluate_periodic(c, par, s, solver);
  std::vector<double> f;
  for (int a = 0; a < c.at_count; ++a) {
    f.insert(f.end(), {c.fx[a], c.fy[a], c.fz[a]});
    if (!std::isfinite(c.fx[a]) || !std::isfinite(c.fy[a]) || !std::isfinite(c.fz[a]))
      throw numerical_error("a force of a displaced structure is not a finite number");
  }
  return f;
}

}  // namespace

gamma_phonons phonons_at_gamma(common_var& c, const param& par, const periodic_settings& settings,
                               electronic_solver& solver) {
  const int n = 3 * c.at_count;
  periodic_settings s = settings;
  s.stress = false;
  gamma_phonons out;
  // Mass-weighted Hessian, column-major: -(f(+h) - f(-h)) / 2h, symmetrised.
  std::vector<double> H(std::size_t(n) * n);
  for (int k = 0; k < n; ++k) {
    std::vector<double>& q = k % 3 == 0 ? c.x : k % 3 == 1 ? c.y : c.z;
    const double q0 = q[k / 3];
    q[k / 3] = q0 + phonon_displacement;
    const std::vector<double> up = forces_of(c, par, s, solver);
    q[k / 3] = q0 - phonon_displacement;
    const std::vector<double> down = forces_of(c, par, s, solver);
    q[k / 3] = q0;
    for (int i = 0; i < n; ++i) H[i + std::size_t(k) * n] = -(up[i] - down[i]) / (2 * phonon_displacement);
  }
  out.free_energy = evaluate_periodic(c, par, s, solver).free_energy;
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < i; ++j) {
      const double mean = 0.5 * (H[i + std::size_t(j) * n] + H[j + std::size_t(i) * n]);
      const double w = std::sqrt(c.amass[i] * c.amass[j]);
      H[i + std::size_t(j) * n] = H[j + std::size_t(i) * n] = mean / w;
    }
  for (int i = 0; i < n; ++i) H[i + std::size_t(i) * n] /= c.amass[i];

  // The three translations in mass-weighted coordinates: sqrt(m) along an axis, normalised.
  std::vector<std::vector<double>> T(3, std::vector<double>(n, 0.0));
  double mass = 0;
  for (int a = 0; a < c.at_count; ++a) mass += c.amass[3 * a];
  for (int axis = 0; axis < 3; ++axis)
    for (int a = 0; a < c.at_count; ++a) T[axis][3 * a + axis] = std::sqrt(c.amass[3 * a + axis] / mass);
  normal_modes split = modes_beside(H, T, c.amass);
  for (int axis = 0; axis < 3; ++axis) out.translations[axis] = wavenumber(split.rigid_block[axis * 4]);
  out.frequencies = std::move(split.frequencies);
  out.modes = std::move(split.modes);
  out.zero_point_energy = split.zero_point_energy;
  return out;
}

vibrational_thermo harmonic_thermo(const std::vector<double>& frequencies, double temperature) {
  vibrational_thermo t;
  for (double nu : frequencies) {
    if (!(nu > 0)) {
      ++t.imaginary_modes;
      continue;
    }
    const double quantum = planck_times_light_speed * nu;
    t.zero_point_energy += 0.5 * quantum;
    t.internal_energy += 0.5 * quantum;
    if (temperature <= 0) continue;
    const double x = quantum / (boltzmann_ev * temperature);
    const double occupation = 1 / std::expm1(x);
    t.internal_energy += quantum * occupation;
    t.entropy += boltzmann_ev * (x * occupation - std::log1p(-std::exp(-x)));
  }
  t.free_energy = t.internal_energy - temperature * t.entropy;
  return t;
}

}  // namespace tbrelax
