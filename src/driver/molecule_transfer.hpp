#pragma once
// A molecule as bytes, for processes that compute parts of one molecule's work: the one that
// read the file sends what the structure reader left (elements, title, coordinates to the
// bit, the periodic cell); the others load it into a fresh state.

#include <string>

#include "state/common_var.hpp"

namespace tbrelax {

std::string pack_molecule(const common_var& c);
// Into a state that holds no molecule yet; counts and composition as the reader leaves them.
void unpack_molecule(const std::string& bytes, common_var& c);

}  // namespace tbrelax
