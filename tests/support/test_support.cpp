#include "support/test_support.hpp"

#include <stdexcept>
#include <fstream>
#include <sstream>

#include <unistd.h>

namespace tbrelax::testing {

temp_dir::temp_dir() {
  std::string pattern = (std::filesystem::temp_directory_path() / "tbrelax-test-XXXXXX").string();
  if (!mkdtemp(pattern.data())) throw std::runtime_error("cannot create a temporary directory");
  path_ = pattern;
}

temp_dir::~temp_dir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

scoped_cwd::scoped_cwd(const std::filesystem::path& dir) : previous_(std::filesystem::current_path()) {
  std::filesystem::current_path(dir);
}

scoped_cwd::~scoped_cwd() {
  std::error_code ignored;
  std::filesystem::current_path(previous_, ignored);
}

void write_text(const std::filesystem::path& file, const std::string& text) {
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out << text;
  if (!out) throw std::runtime_error("cannot write " + file.string());
}

std::string read_text(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + file.string());
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

}  // namespace tbrelax::testing
