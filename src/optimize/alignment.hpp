#pragma once
// Superposition of two structures with the same atoms in the same order: the rotation and
// translation that bring one onto the other with the least root-mean-square deviation
// (the quaternion form of Kabsch's problem), all atoms weighted alike.

#include <vector>

namespace tbrelax {

// `moving` (3 per atom) turned and shifted onto `reference`.
std::vector<double> aligned(const std::vector<double>& moving, const std::vector<double>& reference);

// The root-mean-square distance of corresponding atoms after alignment (angstrom).
double aligned_rmsd(const std::vector<double>& a, const std::vector<double>& b);

// Removes from v (3 per atom) its parts along the translations and the rotations about the
// centroid of the structure x, all atoms weighted alike.
void remove_rigid_motion(std::vector<double>& v, const std::vector<double>& x);

}  // namespace tbrelax
