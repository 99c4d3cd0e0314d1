#pragma once
// The four elements of the model and what every part needs to know about each of them.

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace tbrelax {

// Element index as stored in `at_type`: it indexes every per-element and per-pair table.
enum element : std::int32_t { hydrogen = 1, carbon = 2, nitrogen = 3, oxygen = 4 };

inline constexpr int element_count = 4;

struct element_data {
  char symbol;              // the upper-case letter that names it in a structure file
  double mass;              // whole-number mass used for `amass`
  std::int32_t valence;     // valence electrons of the free atom
  std::int32_t functions;   // basis functions: H 1s; C, N, O 2s 2px 2py 2pz
};

inline constexpr std::array<element_data, element_count> element_table{{
    {'H', 1.0, 1, 1},
    {'C', 12.0, 4, 4},
    {'N', 14.0, 5, 4},
    {'O', 16.0, 6, 4},
}};

inline constexpr const element_data& data_of(std::int32_t type) { return element_table[type - 1]; }

// Element named by the first character of a symbol field: case-sensitive, so only H, C, N, O.
inline constexpr std::optional<element> element_from_symbol(char first) {
  switch (first) {
    case 'H': return hydrogen;
    case 'C': return carbon;
    case 'N': return nitrogen;
    case 'O': return oxygen;
    default: return std::nullopt;
  }
}

// Element named by a whole symbol as structure files from other programs mean it: the letters
// in any case ("O", "o"), optionally followed by a numeric label ("H1", "C12"). Nothing for
// every other symbol, so that "Cl", "Na" or "Os" are never taken for C, N or O.
inline constexpr std::optional<element> element_from_name(std::string_view symbol) {
  std::size_t letters = 0;
  while (letters < symbol.size() && ((symbol[letters] >= 'A' && symbol[letters] <= 'Z') ||
                                     (symbol[letters] >= 'a' && symbol[letters] <= 'z')))
    ++letters;
  if (letters != 1) return std::nullopt;
  for (std::size_t k = 1; k < symbol.size(); ++k)
    if (symbol[k] < '0' || symbol[k] > '9') return std::nullopt;
  const char upper = symbol[0] >= 'a' ? static_cast<char>(symbol[0] - 'a' + 'A') : symbol[0];
  return element_from_symbol(upper);
}

// Basis functions owned by an atom of this element.
inline constexpr int basis_size_of(std::int32_t type) { return type == hydrogen ? 1 : 4; }

}  // namespace tbrelax
