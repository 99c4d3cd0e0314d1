#include "io/xyz_trajectory.hpp"

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "io/extxyz.hpp"
#include "state/element.hpp"
#include "state/errors.hpp"

namespace tbrelax {
namespace {

// Shortest text that reads back as v (fixed or exponent form, whichever is shorter),
// right-aligned in 24 columns.
std::string coordinate(double v) {
  char buffer[64];
  const auto end = std::to_chars(buffer, buffer + sizeof buffer, v).ptr;
  std::string text(buffer, end);
  if (text.find_first_of(".e") == std::string::npos) text += ".0";  // read as a real by every viewer
  return std::string(text.size() < 24 ? 24 - text.size() : 1, ' ') + text;
}

std::string write_fault(const std::string& path) {
  std::error_code ec;
  return "cannot write: " + std::string(std::strerror(std::filesystem::is_directory(path, ec) ? EISDIR
                                                      : errno                                ? errno
                                                                                             : EIO));
}

}  // namespace

std::string full_precision(double v) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.17g", v);
  return buffer;
}

std::string quoted_title(const common_var& c) {
  const auto last = c.sssss.find_last_not_of(' ');
  if (last == std::string::npos) return "";
  std::string q = "\"";
  for (const char ch : c.sssss.substr(0, last + 1)) {
    if (ch == '"' || ch == '\\') q += '\\';
    q += ch;
  }
  return q + '"';
}

std::string xyz_frame(const common_var& c, const xyz_info& info, const std::optional<periodic_cell>& cell) {
  std::string text = std::to_string(c.at_count) + '\n';
  if (cell) text += lattice_field(*cell) + ' ';
  text += "Properties=species:S:1:pos:R:3";
  for (const auto& [key, value] : info) text += ' ' + key + '=' + value;
  if (cell) text += ' ' + pbc_field(*cell);
  text += '\n';
  for (int a = 0; a < c.at_count; ++a) {
    text += data_of(c.at_type[a]).symbol;
    text += coordinate(c.x[a]) + coordinate(c.y[a]) + coordinate(c.z[a]) + '\n';
  }
  return text;
}

xyz_trajectory::xyz_trajectory(std::string path) : path_(std::move(path)) {
  errno = 0;
  out_.open(path_, std::ios::binary | std::ios::trunc);
  if (!out_) throw io_error(write_fault(path_), in_file(path_));
}

void xyz_trajectory::append(const std::string& frame) {
  errno = 0;
  out_ << frame << std::flush;
  if (!out_) throw io_error(write_fault(path_), in_file(path_));
}

}  // namespace tbrelax
