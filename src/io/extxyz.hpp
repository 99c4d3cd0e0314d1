#pragma once
// The comment line of extended XYZ, the form ASE, OVITO and VMD write: key=value pairs such as
//   Lattice="ax ay az bx by bz cx cy cz" Properties=species:S:1:pos:R:3 pbc="T T F" title="water"
// A line is read as extended when it holds a Lattice, pbc or Properties key (any letter case);
// every other line is a plain title, read by the structure reader's own rule (its first field).

#include <optional>
#include <string>

#include "state/periodic_cell.hpp"

namespace tbrelax {

struct extxyz_comment {
  std::string title;                  // trailing blanks dropped
  std::optional<periodic_cell> cell;  // set when the line gives a Lattice
  bool extended = false;              // the line holds extended-XYZ keys
};

// Reads the comment line (line 2 of `file`, named in the faults). On an extended line:
// - Lattice gives the three vectors, a, b, c in that order; without pbc all three axes are
//   periodic. pbc without Lattice stands for three zero vectors, so it may only say "F F F".
// - Properties must begin with species:S:1:pos:R:3; further columns are ignored.
// - The title is the value of the key "title"; without it the words that are no key=value
//   pair, joined by single blanks. Every other pair stays out of the title.
// Throws io_error pointing at the value for a Lattice that is not nine finite numbers, pbc
// flags other than three of T and F, another Properties layout or an unterminated quote, and
// input_rejected for a periodic axis whose vector is zero or depends on the other periodic ones.
extxyz_comment parse_extxyz_comment(const std::string& comment, const std::string& file);

// The comment line of the file `path` (its second line, empty when there is none), parsed.
// Throws io_error when the file cannot be read.
extxyz_comment read_extxyz_comment(const std::string& path);

// `Lattice="..." pbc="..."` for a cell, each component in the shortest form that reads back as
// the same double.
std::string lattice_field(const periodic_cell& cell);
std::string pbc_field(const periodic_cell& cell);

}  // namespace tbrelax
