#pragma once
// The rotational symmetry number: how many proper rotations (the identity included) carry the
// molecule onto itself, each atom onto an atom of its element. It divides the rotational
// partition function, since those orientations are the same state.

#include "state/common_var.hpp"

namespace tbrelax {

// Atoms count as matched when they lie within this distance (angstrom) of each other's image:
// a relaxed geometry keeps its symmetry to far better than this, while a real distortion of a
// bond moves atoms by more.
inline constexpr double symmetry_tolerance = 0.01;

// 1 for a single atom; 2 or 1 for a linear molecule (with or without a centre of inversion);
// otherwise the order of the rotational subgroup of the point group (water 2, ammonia 3,
// methane 12, benzene 12). `linear` is the vibrational analysis's verdict.
int symmetry_number(const common_var& c, bool linear, double tolerance = symmetry_tolerance);

}  // namespace tbrelax
