#pragma once
// Ideal-gas thermochemistry of one molecule: translations of a free particle, a rigid rotor
// and harmonic oscillators for the vibrations, with an optional interpolation of the entropy
// of soft modes towards that of a free rotor.

#include <optional>
#include <vector>

#include "state/common_var.hpp"
#include "state/physical_constants.hpp"

namespace tbrelax {

struct thermo_conditions {
  double temperature = 298.15;            // K
  double pressure = 101325.0;             // Pa
  std::optional<int> symmetry_number;     // none: found from the geometry
  // Modes below about this wavenumber (cm^-1) get the entropy interpolated towards a free
  // rotor's; 0 keeps every mode harmonic.
  double soft_mode_cutoff = 100.0;
};

// A contribution to H - E (eV) and to S (eV/K).
struct thermo_term {
  double enthalpy = 0;
  double entropy = 0;
};

struct thermochemistry {
  thermo_conditions conditions;
  int symmetry_number = 1;
  bool symmetry_detected = false;  // found from the geometry rather than given
  int multiplicity = 1;            // 2 for an odd electron count
  int soft_modes = 0;              // real modes below the cutoff
  int imaginary_modes = 0;         // left out of every term
  double zero_point_energy = 0;    // eV, part of vibrational.enthalpy
  thermo_term translational, rotational, vibrational, electronic;
  double enthalpy = 0;      // H = E + the four enthalpy terms (eV)
  double entropy = 0;       // eV/K
  double gibbs_energy = 0;  // G = H - T S (eV)
};

// From the energy E of the geometry in `c` (eV), its masses (amass), its vibrational
// wavenumbers (cm^-1, imaginary ones negative) and whether it is linear. H includes p V = k T.
// Throws input_rejected for a temperature or pressure that is not positive, or a symmetry
// number below 1.
thermochemistry compute_thermochemistry(const common_var& c, double E, const std::vector<double>& frequencies,
                                        bool linear, const thermo_conditions& conditions);

// The vibrational entropy of one real mode of wavenumber nu (cm^-1) at T, in eV/K: the
// harmonic oscillator's, weighted by w = 1 / (1 + (cutoff / nu)^4) against a free rotor's with
// the mode's moment of inertia (h / (8 pi^2 nu), averaged with 1e-44 kg m^2 so that it stays
// finite as nu -> 0). w = 1 when the cutoff is 0.
double mode_entropy(double nu, double temperature, double soft_mode_cutoff);

}  // namespace tbrelax
