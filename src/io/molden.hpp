#pragma once
// Vibrations in the Molden format that Molden, Jmol and Avogadro open: the geometry in bohr
// ([Atoms] AU and [FR-COORD]), the wavenumbers ([FREQ], imaginary ones negative), the infrared
// intensities where known ([INT], km/mol, read right after [FREQ]) and one "vibration N" block
// of Cartesian displacements per mode ([FR-NORM-COORD]).

#include <span>
#include <string>
#include <vector>

#include "state/common_var.hpp"

namespace tbrelax {

inline constexpr double bohr_in_angstrom = 0.529177210903;

// The modes to write, as plain data: whoever analysed the vibrations fills it, so the writer
// needs nothing of the analysis itself.
struct molden_modes {
  std::span<const double> frequencies;               // cm^-1, imaginary ones negative
  std::span<const double> intensities;               // km/mol, one per mode; empty for none
  std::span<const std::vector<double>> displacements;  // 3N Cartesian entries per mode
};

std::string molden_text(const common_var& c, const molden_modes& v);

// Replaces the file (io_error when it cannot be written).
void write_molden(const std::string& path, const common_var& c, const molden_modes& v);

}  // namespace tbrelax
