#pragma once
// A small writer of JSON documents for the batch tool's machine-readable output. Object
// members and array elements go on lines of their own, indented two blanks per level; an
// array begun with one_line = true (a position, a force) stays on one line. Numbers keep 17
// significant digits, enough to read back the same double.

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tbrelax {

class json_writer {
 public:
  json_writer& begin_object();
  json_writer& end_object();
  json_writer& begin_array(bool one_line = false);
  json_writer& end_array();
  // The name of the next member of the current object.
  json_writer& key(std::string_view name);

  json_writer& value(double v);  // a non-finite value is written as null
  json_writer& value(std::string_view text);
  json_writer& value(const char* text) { return value(std::string_view(text)); }
  json_writer& value(const std::string& text) { return value(std::string_view(text)); }
  json_writer& value(bool b);
  template <std::integral T>
    requires(!std::same_as<T, bool>)
  json_writer& value(T v) { return integer(static_cast<std::int64_t>(v)); }
  json_writer& null();
  // A one-line array of numbers.
  json_writer& numbers(const std::vector<double>& values);
  // A value another writer has written as a whole document (its final line end left out),
  // indented to its place here.
  json_writer& document(std::string_view text);

  // The document so far, with a final line end once the outermost value is closed.
  const std::string& str() const { return text_; }

 private:
  struct level {
    bool object;
    bool one_line;
    int count = 0;
  };
  json_writer& integer(std::int64_t v);
  void begin_value();
  void new_line();
  void close(char bracket);

  std::string text_;
  std::vector<level> open_;
  bool after_key_ = false;
};

// The text as a JSON string literal, quotes included.
std::string json_string(std::string_view text);

}  // namespace tbrelax
