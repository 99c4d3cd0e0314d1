#pragma once
// The values of tbcalc relax's options: numbers, atom lists and pulling pairs as typed on the
// command line. Each parser returns the fault as a sentence, empty when the text is good.

#include <string>
#include <vector>

#include "tb/pulling.hpp"

namespace tbrelax::tbcalc {

// A finite number above zero.
std::string parse_positive(const std::string& text, double& value);
// A whole number of at least 0.
std::string parse_count(const std::string& text, int& value);
// Atoms counted from 1, single or as ranges: "1-4,9". Appends them counted from 0.
std::string parse_atom_list(const std::string& text, std::vector<int>& atoms);
// "A,B,F": two different atoms counted from 1 and a finite force in eV/angstrom.
std::string parse_pull(const std::string& text, pulling_pair& pair);

}  // namespace tbrelax::tbcalc
