#include "io/free_format.hpp"

#include <cmath>
#include <cstdio>

namespace tbrelax {

void free_line::separate(item next) {
  if (last_ != item::none && !(last_ == item::text && next == item::text)) line_ += ' ';
  last_ = next;
}

free_line& free_line::operator<<(std::string_view text) {
  separate(item::text);
  line_ += text;
  return *this;
}

free_line& free_line::integer(std::int64_t value) {
  separate(item::other);
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%11lld", static_cast<long long>(value));
  line_ += buffer;
  return *this;
}

free_line& free_line::operator<<(double value) {
  separate(item::other);
  char buffer[48];
  std::snprintf(buffer, sizeof buffer, "%24.16E", value);
  line_ += buffer;
  return *this;
}

std::string fixed_field(double value, int width, int decimals) {
  std::string text;
  if (std::isnan(value)) {
    text = "NaN";
  } else if (std::isinf(value)) {
    text = value < 0 ? "-Inf" : "Inf";
  } else {
    // printf rounds the exact binary value correctly, which is what a fixed field shows.
    char buffer[512];
    std::snprintf(buffer, sizeof buffer, "%.*f", decimals, value);
    text = buffer;
    if (static_cast<int>(text.size()) > width) {
      if (text.starts_with("0.")) text.erase(0, 1);
      else if (text.starts_with("-0.")) text.erase(1, 1);
    }
  }
  if (static_cast<int>(text.size()) > width) return std::string(width, '*');
  return std::string(width - text.size(), ' ') + text;
}

}  // namespace tbrelax
