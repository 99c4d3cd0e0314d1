#pragma once
// The four elements of the model and what every part needs to know about each of them.

#include <array>
#include <cstdint>
#include <optional>

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

// Basis functions owned by an atom of this element.
inline constexpr int basis_size_of(std::int32_t type) { return type == hydrogen ? 1 : 4; }

}  // namespace tbrelax
