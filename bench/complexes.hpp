#pragma once
// Hydrogen-bonded and other weakly bound complexes of small molecules, built in code from
// textbook bond lengths and angles and typical intermolecular distances: the soft test cases of
// the optimiser comparison.

#include <vector>

#include "bench/molecules.hpp"

namespace tbrelax::bench {

// Water dimer, formic acid dimer, benzene-water, ammonia-water, formaldehyde-water,
// methane-water, ammonia dimer, hydrogen cyanide dimer; `formula` holds the name.
std::vector<molecule_spec> complexes();

}  // namespace tbrelax::bench
