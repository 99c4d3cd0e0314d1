#include "io/free_reader.hpp"

#include <algorithm>
#include <variant>

#include "io/number_syntax.hpp"

namespace tbrelax {
namespace {

bool is_blank(char ch) { return ch == ' ' || ch == '\t'; }
bool ends_field(char ch) { return is_blank(ch) || ch == ','; }

}  // namespace

free_reader::free_reader(std::string file, std::vector<std::string> lines)
    : file_(std::move(file)), lines_(std::move(lines)) {}

void free_reader::begin_read() {
  if (used_line_) ++line_;
  pos_ = 0;
  used_line_ = false;
}

source_location free_reader::end_of_file() const {
  return {.file = file_, .line = static_cast<int>(lines_.size()) + 1, .column = 1, .length = 0, .line_text = {}};
}

std::optional<free_reader::field> free_reader::next_field() {
  for (;;) {
    if (line_ >= lines_.size()) return std::nullopt;
    const std::string& s = lines_[line_];
    while (pos_ < s.size() && is_blank(s[pos_])) ++pos_;
    if (pos_ == s.size()) {  // nothing more on this line: go on with the next one
      ++line_;
      pos_ = 0;
      continue;
    }
    used_line_ = true;
    field f;
    const std::size_t start = pos_;
    field_at_ = {.file = file_, .line = static_cast<int>(line_) + 1, .column = static_cast<int>(start) + 1,
                 .length = 1, .line_text = s};
    if (s[pos_] == ',') {
      f.empty = true;  // a comma where a field should start: an empty field
    } else if (s[pos_] == '\'' || s[pos_] == '"') {
      const char quote = s[pos_++];
      f.quoted = true;
      for (;;) {
        if (pos_ == s.size()) {
          field_at_.length = static_cast<int>(pos_ - start);
          throw io_error("the quoted text is not closed on its line", field_at_);
        }
        if (s[pos_] == quote) {
          if (pos_ + 1 < s.size() && s[pos_ + 1] == quote) {  // a doubled quote stands for itself
            f.text += quote;
            pos_ += 2;
            continue;
          }
          ++pos_;
          break;
        }
        f.text += s[pos_++];
      }
    } else {
      while (pos_ < s.size() && !ends_field(s[pos_])) ++pos_;
      f.text = s.substr(start, pos_ - start);
    }
    field_at_.length = std::max<int>(1, static_cast<int>(pos_ - start));
    skip_separator();
    return f;
  }
}

void free_reader::skip_separator() {
  const std::string& s = lines_[line_];
  while (pos_ < s.size() && is_blank(s[pos_])) ++pos_;
  if (pos_ < s.size() && s[pos_] == ',') ++pos_;
}

std::optional<std::string> free_reader::next_text(std::size_t length) {
  auto f = next_field();
  if (!f) return std::nullopt;
  std::string text = f->text.substr(0, length);
  text.resize(length, ' ');
  return text;
}

template <class T, class Parse>
std::optional<T> free_reader::next_number(Parse parse) {
  auto f = next_field();
  if (!f) return std::nullopt;
  if (f->empty) throw io_error("a number is missing between two commas", field_at_);
  // A quoted field is text, whatever it holds.
  auto value = parse(f->quoted ? field_at_.line_text.substr(field_at_.column - 1, field_at_.length) : f->text);
  if (auto* problem = std::get_if<std::string>(&value)) throw io_error(*problem, field_at_);
  return std::get<T>(value);
}

std::optional<std::int32_t> free_reader::next_integer() { return next_number<std::int32_t>(parse_integer); }
std::optional<double> free_reader::next_real() { return next_number<double>(parse_real); }
std::optional<float> free_reader::next_real_single() { return next_number<float>(parse_real_single); }

}  // namespace tbrelax
