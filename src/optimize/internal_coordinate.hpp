#pragma once
// Distances, bond angles and dihedral angles of a molecule as functions of its 3N Cartesian
// coordinates (atom by atom, x y z), with their gradients: what a relaxed scan holds fixed.

#include <array>
#include <span>
#include <string>
#include <vector>

namespace tbrelax {

enum class coordinate_kind { distance, angle, dihedral };

struct internal_coordinate {
  coordinate_kind kind = coordinate_kind::distance;
  std::array<int, 4> atoms{};  // counted from 0; the first 2, 3 or 4 are used

  int atom_count() const { return kind == coordinate_kind::distance ? 2 : kind == coordinate_kind::angle ? 3 : 4; }
  // Angstrom for a distance; radians for the angles (the angle A-B-C at B; the dihedral
  // A-B-C-D in (-pi, pi], positive for a clockwise turn of A onto D seen along B -> C).
  double value(std::span<const double> x) const;
  // d value / d x, 3N long, zero outside the coordinate's atoms. Undefined where the value
  // is: coincident atoms, a straight angle, a dihedral with three atoms in a line.
  std::vector<double> gradient(std::span<const double> x) const;
  // How far the value is from its degenerate points (sine of the angle; for a dihedral, the
  // smaller sine of its two bond angles): near 0 the gradient loses its meaning.
  double definiteness(std::span<const double> x) const;
  // "d(1,2)", "a(1,2,3)", "t(1,2,3,4)": atoms counted from 1.
  std::string label() const;
};

// The difference a - b of two values of one coordinate; a dihedral's is taken in (-pi, pi].
double coordinate_difference(coordinate_kind kind, double a, double b);

}  // namespace tbrelax
