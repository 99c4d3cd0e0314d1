#pragma once
// Infrared intensities of the normal modes in the double-harmonic approximation: the absorption
// of a mode is proportional to the square of the derivative of the dipole moment along its
// mass-weighted normal coordinate Q.

#include <vector>

#include "hessian/vibrations.hpp"

namespace tbrelax {

// km/mol per (e / sqrt(amu))^2: N_A / (12 epsilon_0 c^2) times e^2 / amu, in SI and then km.
inline constexpr double ir_intensity_unit =
    6.02214076e23 / (12 * 8.8541878128e-12 * 299792458.0 * 299792458.0) * (1.602176634e-19 * 1.602176634e-19) /
    1.66053906660e-27 / 1000.0;

// One intensity (km/mol) per mode of `v`. `dipole_derivatives` holds d mu / d q_k (e, i.e. e
// angstrom per angstrom) for the Cartesian coordinates k = 3a + axis: 3 x nat3, column-major
// (component fastest); `amass` the masses per coordinate (amu).
std::vector<double> ir_intensities(const vibrational_analysis& v, const std::vector<double>& amass,
                                   const std::vector<double>& dipole_derivatives);

}  // namespace tbrelax
