#pragma once
// The repeating cell of a periodic structure: three lattice vectors and which of them repeat.

#include <array>

namespace tbrelax {

// Lattice vectors a[0], a[1], a[2] (angstrom, Cartesian) and which of them are periodic.
// A vector whose axis is not periodic carries no meaning for the model; it is kept only so
// that a file read and written again holds the same cell.
struct periodic_cell {
  std::array<std::array<double, 3>, 3> a{};
  std::array<bool, 3> pbc{false, false, false};
  bool periodic() const { return pbc[0] || pbc[1] || pbc[2]; }
  int periodic_axes() const { return int(pbc[0]) + int(pbc[1]) + int(pbc[2]); }
};

}  // namespace tbrelax
