#include "io/text_file.hpp"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <unistd.h>

#include "state/errors.hpp"

namespace tbrelax {
namespace {

std::string reason(int error) { return std::strerror(error); }

bool write_all(const std::string& path, const std::string& content) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (!out) return false;
  out << content;
  out.close();
  return !out.fail();
}

}  // namespace

std::vector<std::string> load_lines(const std::string& path, bool create_if_missing) {
  namespace fs = std::filesystem;
  std::error_code ec;
  if (fs::is_directory(path, ec)) throw io_error("is a directory, not a structure file", in_file(path));
  if (create_if_missing && !fs::exists(path, ec)) {
    errno = 0;
    std::ofstream created(path, std::ios::app);
    if (!created) throw io_error("cannot open: " + reason(errno ? errno : EACCES), in_file(path));
  }
  errno = 0;
  std::ifstream in(path, std::ios::binary);
  if (!in) throw io_error("cannot open: " + reason(errno ? errno : ENOENT), in_file(path));
  std::ostringstream whole;
  whole << in.rdbuf();
  if (in.bad()) throw io_error("cannot read: " + reason(errno ? errno : EIO), in_file(path));

  std::vector<std::string> lines;
  std::istringstream text(whole.str());
  for (std::string line; std::getline(text, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(std::move(line));
  }
  return lines;
}

void replace_file(const std::string& path, const std::string& content) {
  namespace fs = std::filesystem;
  const fs::path target(path);
  const fs::path temporary =
      target.parent_path() / ("." + target.filename().string() + ".tmp" + std::to_string(::getpid()));
  if (write_all(temporary.string(), content)) {
    std::error_code ec;
    fs::rename(temporary, target, ec);
    if (!ec) return;
    fs::remove(temporary, ec);
  }
  errno = 0;
  if (!write_all(path, content)) {
    const int error = errno ? errno : EIO;
    std::error_code ec;
    throw io_error("cannot write: " + reason(fs::is_directory(target, ec) ? EISDIR : error), in_file(path));
  }
}

}  // namespace tbrelax
