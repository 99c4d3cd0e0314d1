#include "molecule_input.hpp"

#include <cmath>

#include "state/coincident_atoms.hpp"
#include "state/element.hpp"
#include "state/errors.hpp"

namespace tbrelax::python {
namespace {

std::int32_t element_of(const std::string& symbol, std::size_t atom) {
  // A caller's symbol is a chemical symbol, not a structure-file field: "He" is helium here.
  if (symbol.size() == 1)
    if (auto e = element_from_symbol(symbol[0])) return *e;
  throw input_rejected("atom " + std::to_string(atom) + " is '" + symbol +
                       "': the model knows only the elements H, C, N and O");
}

}  // namespace

void load_checked(model_session& s, const std::vector<std::string>& symbols, const position_list& positions) {
  if (symbols.size() != positions.size())
    throw input_rejected(std::to_string(symbols.size()) + " symbols but " + std::to_string(positions.size()) +
                         " positions");
  if (symbols.empty()) throw input_rejected("the molecule has no atoms");
  std::vector<std::int32_t> types;
  types.reserve(symbols.size());
  for (std::size_t a = 0; a < symbols.size(); ++a) {
    types.push_back(element_of(symbols[a], a));
    for (double q : positions[a])
      if (!std::isfinite(q)) throw input_rejected("atom " + std::to_string(a) + " has a non-finite coordinate");
  }
  load_molecule(s.c, types, positions);
  if (auto pair = find_coincident_atoms(s.c))
    throw input_rejected("atoms " + std::to_string(pair->first) + " and " + std::to_string(pair->second) +
                         " are at the same position (closer than 1e-10 angstrom)");
}

}  // namespace tbrelax::python
