#include "hessian/thermochemistry.hpp"

#include <cmath>
#include <numbers>

#include "hessian/inertia.hpp"
#include "hessian/symmetry_number.hpp"
#include "hessian/vibrations.hpp"
#include "state/errors.hpp"

namespace tbrelax {
namespace {

// SI values of the 2019 definitions (exact) and of the atomic mass unit (CODATA 2018).
constexpr double planck = 6.62607015e-34;      // J s
constexpr double boltzmann = 1.380649e-23;     // J/K
constexpr double light_speed_cm = 2.99792458e10;  // cm/s
constexpr double atomic_mass = 1.66053906660e-27;  // kg
constexpr double pi = std::numbers::pi;

// Moment of inertia averaging a soft mode's with that of a typical molecule (kg m^2).
constexpr double average_moment = 1e-44;

// x = h c nu / k T for a mode of wavenumber nu.
double reduced_quantum(double nu, double T) { return planck * light_speed_cm * nu / (boltzmann * T); }

double harmonic_entropy(double nu, double T) {
  const double x = reduced_quantum(nu, T);
  return boltzmann_ev * (x / std::expm1(x) - std::log(-std::expm1(-x)));
}

double free_rotor_entropy(double nu, double T) {
  const double mu = planck / (8 * pi * pi * light_speed_cm * nu);
  const double reduced = mu * average_moment / (mu + average_moment);
  return boltzmann_ev * (0.5 + std::log(std::sqrt(8 * pi * pi * pi * reduced * boltzmann * T / (planck * planck))));
}

thermo_term translation(double mass_amu, const thermo_conditions& at) {
  const double T = at.temperature;
  const double m = mass_amu * atomic_mass;
  const double volume_term = std::pow(2 * pi * m * boltzmann * T / (planck * planck), 1.5) * boltzmann * T / at.pressure;
  return {2.5 * boltzmann_ev * T, boltzmann_ev * (std::log(volume_term) + 2.5)};
}

thermo_term rotation(const common_var& c, bool linear, int sigma, double T) {
  if (c.at_count < 2) return {};
  const principal_axes p = inertia_of(c);
  const double to_si = atomic_mass * 1e-20;  // amu angstrom^2 in kg m^2
  const double thermal = 8 * pi * pi * boltzmann * T / (planck * planck);
  if (linear) {
    const double I = p.moments[2] * to_si;
    return {boltzmann_ev * T, boltzmann_ev * (std::log(thermal * I / sigma) + 1.0)};
  }
  const double product = p.moments[0] * to_si * p.moments[1] * to_si * p.moments[2] * to_si;
  return {1.5 * boltzmann_ev * T, boltzmann_ev * (std::log(std::sqrt(pi * product) / sigma * std::pow(thermal, 1.5)) + 1.5)};
}

}  // namespace

double mode_entropy(double nu, double temperature, double soft_mode_cutoff) {
  const double harmonic = harmonic_entropy(nu, temperature);
  if (!(soft_mode_cutoff > 0)) return harmonic;
  const double w = 1.0 / (1.0 + std::pow(soft_mode_cutoff / nu, 4));
  return w * harmonic + (1.0 - w) * free_rotor_entropy(nu, temperature);
}

thermochemistry compute_thermochemistry(const common_var& c, double E, const std::vector<double>& frequencies,
                                        bool linear, const thermo_conditions& conditions) {
  if (!(conditions.temperature > 0) || !std::isfinite(conditions.temperature))
    throw input_rejected("the temperature must be a positive number of kelvin");
  if (!(conditions.pressure > 0) || !std::isfinite(conditions.pressure))
    throw input_rejected("the pressure must be a positive number of pascal");
  if (conditions.symmetry_number && *conditions.symmetry_number < 1)
    throw input_rejected("the symmetry number must be a whole number from 1 up");

  thermochemistry t;
  t.conditions = conditions;
  const double T = conditions.temperature;
  t.symmetry_detected = !conditions.symmetry_number;
  t.symmetry_number = conditions.symmetry_number ? *conditions.symmetry_number : symmetry_number(c, linear);
  t.multiplicity = c.el_count % 2 == 1 ? 2 : 1;

  double mass = 0;
  for (int a = 0; a < c.at_count; ++a) mass += c.amass[3 * a];
  t.translational = translation(mass, conditions);
  t.rotational = rotation(c, linear, t.symmetry_number, T);
  t.electronic = {0.0, boltzmann_ev * std::log(static_cast<double>(t.multiplicity))};

  for (double nu : frequencies) {
    if (!(nu > 0)) {
      ++t.imaginary_modes;
      continue;
    }
    if (nu < conditions.soft_mode_cutoff) ++t.soft_modes;
    const double quantum = planck_times_light_speed * nu;
    t.zero_point_energy += 0.5 * quantum;
    t.vibrational.enthalpy += quantum / std::expm1(reduced_quantum(nu, T));
    t.vibrational.entropy += mode_entropy(nu, T, conditions.soft_mode_cutoff);
  }
  t.vibrational.enthalpy += t.zero_point_energy;

  t.enthalpy = E;
  for (const thermo_term* term : {&t.translational, &t.rotational, &t.vibrational, &t.electronic}) {
    t.enthalpy += term->enthalpy;
    t.entropy += term->entropy;
  }
  t.gibbs_energy = t.enthalpy - T * t.entropy;
  return t;
}

}  // namespace tbrelax
