#include "io/number_syntax.hpp"

#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <type_traits>

namespace tbrelax {
namespace {

bool is_digit(char ch) { return ch >= '0' && ch <= '9'; }

std::string quoted(std::string_view text) { return "'" + std::string(text) + "'"; }

// Rewrites a real in any accepted notation as [-]digits[.digits][e[-]digits], or returns an
// empty string when the text is not such a number.
std::string normalised_real(std::string_view s) {
  std::size_t i = 0;
  std::string out;
  if (i < s.size() && (s[i] == '+' || s[i] == '-')) {
    if (s[i] == '-') out += '-';
    ++i;
  }
  std::size_t digits = 0;
  while (i < s.size() && is_digit(s[i])) { out += s[i++]; ++digits; }
  if (i < s.size() && s[i] == '.') {
    out += s[i++];
    while (i < s.size() && is_digit(s[i])) { out += s[i++]; ++digits; }
  }
  if (digits == 0) return {};
  if (i == s.size()) return out;
  const char mark = static_cast<char>(std::tolower(static_cast<unsigned char>(s[i])));
  if (mark == 'e' || mark == 'd' || mark == 'q') ++i;
  else if (s[i] != '+' && s[i] != '-') return {};
  out += 'e';
  if (i < s.size() && (s[i] == '+' || s[i] == '-')) {
    if (s[i] == '-') out += '-';
    ++i;
  }
  std::size_t exponent_digits = 0;
  while (i < s.size() && is_digit(s[i])) { out += s[i++]; ++exponent_digits; }
  if (exponent_digits == 0 || i != s.size()) return {};
  return out;
}

template <class T>
parsed<T> parse_real_as(std::string_view text) {
  const std::string c = normalised_real(text);
  if (c.empty()) return quoted(text) + " is not a real number";
  // strtod/strtof see the C locale here (the library never changes it); they round correctly
  // and report overflow and underflow through errno.
  errno = 0;
  char* end = nullptr;
  T value;
  if constexpr (std::is_same_v<T, float>) value = std::strtof(c.c_str(), &end);
  else value = std::strtod(c.c_str(), &end);
  if (errno == ERANGE && std::isinf(value)) return quoted(text) + " is too large for a real number";
  return value;  // an underflow rounds towards zero, as it should
}

}  // namespace

parsed<std::int32_t> parse_integer(std::string_view text) {
  std::string_view digits = text;
  const bool negative = !digits.empty() && digits.front() == '-';
  if (!digits.empty() && (digits.front() == '+' || negative)) digits.remove_prefix(1);
  if (digits.empty()) return quoted(text) + " is not an integer";
  for (char ch : digits)
    if (!is_digit(ch)) return quoted(text) + " is not an integer";
  const std::string signed_digits = (negative ? "-" : "") + std::string(digits);
  std::int32_t value = 0;
  const auto [end, ec] = std::from_chars(signed_digits.data(), signed_digits.data() + signed_digits.size(), value);
  if (ec != std::errc()) return quoted(text) + " is too large for an integer";
  return value;
}

parsed<double> parse_real(std::string_view text) { return parse_real_as<double>(text); }
parsed<float> parse_real_single(std::string_view text) { return parse_real_as<float>(text); }

}  // namespace tbrelax
