#pragma once
// The structure reader: turns a structure file (atom count, title, one atom per line with
// element symbol and x, y, z in angstrom) into the molecular state.

#include <string>

#include "io/console.hpp"
#include "state/common_var.hpp"

namespace tbrelax {

struct structure_source {
  std::string path = "input.xyz";  // also the name the messages give
  bool create_if_missing = true;   // open without requiring the file to exist
  // false: only the first character of a symbol counts, case-sensitively ("Cl" is C), and an
  // unknown element before the first atom is skipped with a warning.
  // true: the whole symbol counts (element_from_name), and any other symbol is rejected.
  bool whole_symbols = false;
};

// Reads the file twice: the first pass checks the elements and counts the atoms, the second
// stores them once every array has its final size. Prints its report, its warnings (each
// followed by a pause) and its errors through the console.
// Throws input_rejected after the count errors (their message and pause already shown,
// nothing allocated), and with whole_symbols for a symbol naming no element of the model
// (pointing at the field, nothing shown) and io_error for a malformed number, an early end of the file or a
// file that cannot be opened.
void read_coord(common_var& c, console& con, const structure_source& source = {});

}  // namespace tbrelax
