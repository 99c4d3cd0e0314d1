#pragma once
// The stress of a periodic structure from the strain derivative of its free energy, and its
// lower-dimensional forms: the 2D stress of a sheet and the force along a chain.

#include <array>

#include "state/periodic_cell.hpp"
#include "tb/periodic_evaluation.hpp"

namespace tbrelax {

// Voigt order: xx, yy, zz, yz, xz, xy.
using voigt = std::array<double, 6>;

inline constexpr double gpa_per_ev_per_cubic_angstrom = 160.21766208;
inline constexpr double newton_per_metre_per_ev_per_square_angstrom = 16.021766208;
inline constexpr double nanonewton_per_ev_per_angstrom = 1.6021766208;

// |det(a1, a2, a3)| (angstrom^3), vacuum vectors included.
double cell_volume(const periodic_cell& cell);

// The measure of the periodic part: the volume of a crystal, the area |a1 x a2| of a sheet,
// the length of a chain (angstrom^d). For a molecule: 1.
double periodic_measure(const periodic_cell& cell);

// sigma = (1/V) dF/deps (eV/angstrom^3; positive is tensile), the symmetric part of the strain
// derivative over the volume of the whole cell, vacuum included.
voigt stress_of(const periodic_evaluation& p, const periodic_cell& cell);

// sigma V / periodic_measure: the stress of a crystal (eV/angstrom^3), the 2D stress of a
// sheet (eV/angstrom^2) or the tension of a chain (eV/angstrom).
voigt reduced_stress(const voigt& stress, const periodic_cell& cell);

}  // namespace tbrelax
