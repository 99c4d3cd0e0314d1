#pragma once
// What the harnesses share: a scratch directory of their own, the lines of a text as the
// structure reader splits a file, and a check whose failure is a finding.

#include <cstdlib>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace tbrelax::fuzz {

// A condition the code under test promises; its failure stops the fuzzer with the input.
inline void require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "broken promise: %s\n", what);
  std::abort();
}

// A directory for this process's files, in memory where the system offers it, removed at exit.
inline const std::filesystem::path& scratch_dir() {
  static const std::filesystem::path dir = [] {
    namespace fs = std::filesystem;
    const fs::path base = fs::is_directory("/dev/shm") ? fs::path("/dev/shm") : fs::temp_directory_path();
    std::string pattern = (base / "tbrelax-fuzz-XXXXXX").string();
    if (!mkdtemp(pattern.data())) std::abort();
    std::atexit([] {
      std::error_code ignored;
      fs::remove_all(scratch_dir(), ignored);
    });
    return fs::path(pattern);
  }();
  return dir;
}

// Writes `text` to the file `name` of the scratch directory and returns its path.
inline std::string scratch_file(const std::string& name, std::string_view text) {
  const std::string path = (scratch_dir() / name).string();
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(text.data(), static_cast<std::streamsize>(text.size()));
  out.close();
  require(!out.fail(), "the scratch file is written");
  return path;
}

// Lines without their line ends, a carriage return before a line feed dropped, as the
// structure reader loads a file.
inline std::vector<std::string> split_lines(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const auto end = text.find('\n');
    std::string line(text.substr(0, end));
    if (end != std::string_view::npos && !line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(std::move(line));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return lines;
}

}  // namespace tbrelax::fuzz
