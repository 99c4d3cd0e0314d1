#pragma once
// Vibrations in the Molden format that Molden, Jmol and Avogadro open: the geometry in bohr
// ([Atoms] AU and [FR-COORD]), the wavenumbers ([FREQ], imaginary ones negative), the infrared
// intensities where known ([INT], km/mol, read right after [FREQ]) and one "vibration N" block
// of Cartesian displacements per mode ([FR-NORM-COORD]).

#include <string>

#include "hessian/vibrations.hpp"
#include "state/common_var.hpp"

namespace tbrelax {

inline constexpr double bohr_in_angstrom = 0.529177210903;

std::string molden_text(const common_var& c, const vibrational_analysis& v);

// Replaces the file (io_error when it cannot be written).
void write_molden(const std::string& path, const common_var& c, const vibrational_analysis& v);

}  // namespace tbrelax
