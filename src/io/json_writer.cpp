#include "io/json_writer.hpp"

#include <cmath>
#include <cstdio>
#include <stdexcept>

namespace tbrelax {

std::string json_string(std::string_view text) {
  std::string s = "\"";
  for (const char ch : text) {
    switch (ch) {
      case '"': s += "\\\""; break;
      case '\\': s += "\\\\"; break;
      case '\n': s += "\\n"; break;
      case '\t': s += "\\t"; break;
      case '\r': s += "\\r"; break;
      default:
        if (static_cast<unsigned char>(ch) < 0x20) {
          char escaped[8];
          std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(ch));
          s += escaped;
        } else {
          s += ch;
        }
    }
  }
  return s + '"';
}

void json_writer::new_line() {
  text_ += '\n';
  text_.append(2 * open_.size(), ' ');
}

void json_writer::begin_value() {
  if (after_key_) {
    after_key_ = false;
    return;
  }
  if (open_.empty()) return;
  level& top = open_.back();
  if (top.object) throw std::logic_error("a JSON object member needs a key");
  if (top.count++ > 0) text_ += top.one_line ? ", " : ",";
  if (!top.one_line) new_line();
}

json_writer& json_writer::key(std::string_view name) {
  if (open_.empty() || !open_.back().object || after_key_) throw std::logic_error("a JSON key outside an object");
  if (open_.back().count++ > 0) text_ += ',';
  new_line();
  text_ += json_string(name) + ": ";
  after_key_ = true;
  return *this;
}

json_writer& json_writer::begin_object() {
  begin_value();
  text_ += '{';
  open_.push_back({true, false});
  return *this;
}

json_writer& json_writer::begin_array(bool one_line) {
  begin_value();
  text_ += '[';
  // Inside a one-line array everything stays on that line.
  open_.push_back({false, one_line || (!open_.empty() && open_.back().one_line)});
  return *this;
}

void json_writer::close(char bracket) {
  const level top = open_.back();
  open_.pop_back();
  if (top.count > 0 && !top.one_line) new_line();
  text_ += bracket;
  if (open_.empty()) text_ += '\n';
}

json_writer& json_writer::end_object() {
  if (open_.empty() || !open_.back().object || after_key_) throw std::logic_error("no JSON object to close");
  close('}');
  return *this;
}

json_writer& json_writer::end_array() {
  if (open_.empty() || open_.back().object) throw std::logic_error("no JSON array to close");
  close(']');
  return *this;
}

json_writer& json_writer::value(double v) {
  if (!std::isfinite(v)) return null();
  begin_value();
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.17g", v);
  text_ += buffer;
  return *this;
}

json_writer& json_writer::integer(std::int64_t v) {
  begin_value();
  text_ += std::to_string(v);
  return *this;
}

json_writer& json_writer::value(std::string_view text) {
  begin_value();
  text_ += json_string(text);
  return *this;
}

json_writer& json_writer::value(bool b) {
  begin_value();
  text_ += b ? "true" : "false";
  return *this;
}

json_writer& json_writer::null() {
  begin_value();
  text_ += "null";
  return *this;
}

json_writer& json_writer::numbers(const std::vector<double>& values) {
  begin_array(true);
  for (double v : values) value(v);
  return end_array();
}

json_writer& json_writer::document(std::string_view text) {
  begin_value();
  if (text.ends_with('\n')) text.remove_suffix(1);
  // A line end inside a JSON document is always layout: strings carry theirs escaped.
  const std::string indent = "\n" + std::string(2 * open_.size(), ' ');
  for (const char ch : text) {
    if (ch == '\n')
      text_ += indent;
    else
      text_ += ch;
  }
  if (open_.empty()) text_ += '\n';
  return *this;
}

}  // namespace tbrelax
