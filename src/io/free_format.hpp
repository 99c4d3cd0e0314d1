#pragma once
// Free-format output lines: a leading blank; text items written at full length and joined to a
// neighbouring text item with nothing between them; one blank between any other neighbours;
// integers right-justified in 11 columns; reals in a fixed width of 24 (17 significant digits).

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

namespace tbrelax {

class free_line {
 public:
  free_line& operator<<(std::string_view text);
  free_line& operator<<(const char* text) { return *this << std::string_view(text); }
  free_line& operator<<(const std::string& text) { return *this << std::string_view(text); }
  template <std::integral T>
    requires(!std::same_as<T, bool> && !std::same_as<T, char>)
  free_line& operator<<(T value) { return integer(static_cast<std::int64_t>(value)); }
  free_line& operator<<(double value);

  const std::string& str() const { return line_; }

 private:
  enum class item { none, text, other };
  free_line& integer(std::int64_t value);
  void separate(item next);

  std::string line_ = " ";
  item last_ = item::none;
};

template <class... Items>
std::string free_format(const Items&... items) {
  free_line line;
  ((line << items), ...);
  return line.str();
}

// A fixed-point field of the given width with `decimals` digits after the point, rounded;
// a row of asterisks when the value does not fit (the leading zero is dropped first if that
// makes it fit).
std::string fixed_field(double value, int width, int decimals);

}  // namespace tbrelax
