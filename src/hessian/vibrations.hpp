#pragma once
// Harmonic vibrations from the Cartesian Hessian: mass-weighted with the model's masses,
// the translations and rotations set apart, the rest diagonalised and given in wavenumbers.

#include <vector>

#include "state/common_var.hpp"

namespace tbrelax {

// Wavenumber (cm^-1) of a mass-weighted curvature lambda (eV / (angstrom^2 amu)):
// sqrt(lambda) / (2 pi c), negative for lambda < 0 (an imaginary frequency).
double wavenumber(double curvature);

// h c (eV cm): the energy of one quantum of a mode of wavenumber 1 cm^-1.
inline constexpr double planck_times_light_speed = 1.239841984332e-4;

struct vibrational_analysis {
  bool linear = false;
  // Vibrational modes, ascending (cm^-1; imaginary ones negative).
  std::vector<double> frequencies;
  // Cartesian displacement of each vibrational mode (nat3 entries, unit length, sign arbitrary).
  std::vector<std::vector<double>> modes;
  // The curvature along the translations and rotations, as wavenumbers, ascending. Zero at a
  // stationary point up to the Hessian's finite-difference error; away from one the rotations
  // carry the force's contribution.
  std::vector<double> rigid_frequencies;
  // Sum over the real vibrational modes of h c nu / 2 (eV).
  double zero_point_energy = 0;
  // Infrared intensity of each mode (km/mol); empty where no dipole derivatives were computed.
  std::vector<double> intensities;
};

// The normal modes of a mass-weighted Hessian beside a set of rigid motions.
struct normal_modes {
  // U^T H U over the rigid motions U (k x k, column-major): their curvatures and couplings.
  std::vector<double> rigid_block;
  std::vector<double> frequencies;         // the complement's modes, ascending (cm^-1)
  std::vector<std::vector<double>> modes;  // Cartesian, unit length, largest component positive
  double zero_point_energy = 0;            // sum over the real modes of h c nu / 2 (eV)
};

// Splits the symmetric mass-weighted Hessian `weighted` (n x n, column-major) exactly into the
// span of the orthonormal mass-weighted motions `rigid` and its orthogonal complement, and
// diagonalises the complement's block with the symmetric eigensolver. `amass` (n entries)
// turns the modes back into Cartesian displacements. Throws numerical_error when the
// eigensolver does not converge.
normal_modes modes_beside(const std::vector<double>& weighted, const std::vector<std::vector<double>>& rigid,
                          const std::vector<double>& amass);

// From c.hess (as hess_cre leaves it), the positions and amass. The mass-weighted Hessian is
// split exactly into the translation-rotation space and its orthogonal complement; each block
// is diagonalised with the symmetric eigensolver. Throws numerical_error when the Hessian is not
// finite or the eigensolver does not converge.
vibrational_analysis analyse_vibrations(const common_var& c);

}  // namespace tbrelax
