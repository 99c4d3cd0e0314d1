#pragma once
// The coordinates of tbcalc scan as typed: --distance A,B,FROM,TO,STEPS, --angle A,B,C,FROM,TO,STEPS
// and --dihedral A,B,C,D,FROM,TO,STEPS (atoms from 1, angles in degrees).

#include <string>

#include "optimize/relaxed_scan.hpp"

namespace tbrelax::tbcalc {

// Appends the coordinate to s and sets s.steps; the fault as a sentence, empty when the text
// is good. Every coordinate of a concerted scan must take the same number of steps.
std::string parse_scan_coordinate(coordinate_kind kind, const std::string& text, scan_settings& s);

// The first fault of the scan's coordinates on a molecule of `at_count` atoms (an atom it does
// not have), as a sentence; empty when there is none.
std::string scan_atom_fault(const scan_settings& s, int at_count);

// A value of the coordinate in the unit the user gives it (angstrom, degree) and back.
double in_user_unit(coordinate_kind kind, double v);
const char* user_unit(coordinate_kind kind);

}  // namespace tbrelax::tbcalc
