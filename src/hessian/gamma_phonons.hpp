#pragma once
// Phonons at Gamma of a periodic cell: the Hessian of the free energy by central differences of
// the forces (every image of an atom moving with it), mass-weighted, with only the three rigid
// translations set apart (a crystal cannot rotate), and the harmonic vibrational
// thermochemistry per cell. A supercell gives the modes of the primitive cell's wavevectors
// that fold onto its Gamma point.

#include <array>
#include <vector>

#include "linalg/electronic_solver.hpp"
#include "state/common_var.hpp"
#include "state/param.hpp"
#include "tb/periodic_evaluation.hpp"

namespace tbrelax {

struct gamma_phonons {
  double free_energy = 0;                    // F at the geometry (eV per cell)
  std::vector<double> frequencies;           // 3N - 3, ascending (cm^-1; imaginary negative)
  std::vector<std::vector<double>> modes;    // Cartesian displacements, unit length
  std::array<double, 3> translations{};      // curvature along the x, y, z translations (cm^-1)
  double zero_point_energy = 0;              // eV per cell, real modes
};

// Displacement of each coordinate (angstrom) in the central differences of the forces. Their
// error goes as its square: graphene's optical mode at Gamma computed in the 2-atom cell and in
// a 3 x 3 supercell (one atom displaced there, all its images here) differ by 0.96 cm^-1 at
// 1e-3 and by 0.01 cm^-1 at 1e-4, while the forces' own noise (1e-10 eV/A) stays far below.
inline constexpr double phonon_displacement = 1e-4;

// Leaves c at its coordinates (restored exactly) with the forces there. Throws numerical_error
// for a non-finite force or a diagonalisation that fails.
gamma_phonons phonons_at_gamma(common_var& c, const param& par, const periodic_settings& settings,
                               electronic_solver& solver);

// The harmonic vibrational part per cell at temperature T (K), over the real modes.
struct vibrational_thermo {
  double zero_point_energy = 0;  // eV
  double internal_energy = 0;    // eV, zero-point energy included
  double entropy = 0;            // eV/K
  double free_energy = 0;        // U - T S (eV)
  int imaginary_modes = 0;       // left out
};
vibrational_thermo harmonic_thermo(const std::vector<double>& frequencies, double temperature);

}  // namespace tbrelax
