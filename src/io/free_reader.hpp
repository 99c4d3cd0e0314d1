#pragma once
// Reads items from a text file by free-format rules. Fields are separated by blanks, tabs or a
// comma (with blanks around it). Each read statement starts on a fresh line, takes as many
// fields as it asks for, continuing over line ends and skipping blank lines, and ignores the
// rest of its last line. A text item takes one field or a quoted string ('...' or "...", a
// doubled quote standing for itself), cut or blank-padded to its length.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "state/errors.hpp"

namespace tbrelax {

class free_reader {
 public:
  free_reader(std::string file, std::vector<std::string> lines);

  // Starts the next read statement on the line after the last one the previous statement used.
  void begin_read();

  // The next item of the current statement, or nothing at the end of the file. A field that is
  // not a valid number for its item is an io_error pointing at the field.
  std::optional<std::string> next_text(std::size_t length);
  std::optional<std::int32_t> next_integer();
  std::optional<double> next_real();
  std::optional<float> next_real_single();

  // Where the file ended, for messages about what was still expected there.
  source_location end_of_file() const;
  // The field read last.
  const source_location& last_field() const { return field_at_; }
  const std::string& file() const { return file_; }

 private:
  struct field {
    std::string text;
    bool empty = false;   // nothing between two separators
    bool quoted = false;  // given as a quoted string
  };
  std::optional<field> next_field();
  void skip_separator();
  template <class T, class Parse>
  std::optional<T> next_number(Parse parse);

  std::string file_;
  std::vector<std::string> lines_;
  std::size_t line_ = 0;  // line being read (0-based)
  std::size_t pos_ = 0;   // position in it
  bool used_line_ = false;
  source_location field_at_;
};

}  // namespace tbrelax
