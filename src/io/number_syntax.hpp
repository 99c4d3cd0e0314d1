#pragma once
// The numbers a structure file may hold: integers ([sign] digits) and reals in the usual
// scientific notations, including the exponent letters d and q and the signed exponent
// without a letter (1.5-3 means 1.5e-3), as old scientific files write them.

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

namespace tbrelax {

// The value, or a sentence saying what is wrong with the text.
template <class T>
using parsed = std::variant<T, std::string>;

parsed<std::int32_t> parse_integer(std::string_view text);
// Finite reals only: infinities and NaN are rejected, as is a value beyond the type's range.
parsed<double> parse_real(std::string_view text);
parsed<float> parse_real_single(std::string_view text);

}  // namespace tbrelax
