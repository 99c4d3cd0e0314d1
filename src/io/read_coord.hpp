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
};

// Reads the file twice: the first pass checks the elements and counts the atoms, the second
// stores them once every array has its final size. Prints its report, its warnings (each
// followed by a pause) and its errors through the console.
// Throws input_rejected after the count errors (their message and pause already shown,
// nothing allocated) and io_error for a malformed number, an early end of the file or a
// file that cannot be opened.
void read_coord(common_var& c, console& con, const structure_source& source = {});

}  // namespace tbrelax
