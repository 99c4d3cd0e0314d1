#pragma once
// Atoms at one position make the overlap's direction cosines undefined: the energy model needs
// every pair apart.

#include <optional>
#include <utility>

#include "state/common_var.hpp"

namespace tbrelax {

// Atoms closer than this (angstrom) count as one position.
inline constexpr double coincidence_distance = 1e-10;

// The first pair (i < j, counted from 0, lowest i then lowest j) closer than the coincidence
// distance, if any.
std::optional<std::pair<int, int>> find_coincident_atoms(const common_var& c);

}  // namespace tbrelax
