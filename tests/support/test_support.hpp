#pragma once
// Helpers shared by the tests.

#include <filesystem>
#include <string>

namespace tbrelax::testing {

// A fresh empty directory under the system's temporary folder, removed with the object.
class temp_dir {
 public:
  temp_dir();
  ~temp_dir();
  temp_dir(const temp_dir&) = delete;
  temp_dir& operator=(const temp_dir&) = delete;
  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

// Makes a directory the working directory for the object's lifetime.
class scoped_cwd {
 public:
  explicit scoped_cwd(const std::filesystem::path& dir);
  ~scoped_cwd();
  scoped_cwd(const scoped_cwd&) = delete;
  scoped_cwd& operator=(const scoped_cwd&) = delete;

 private:
  std::filesystem::path previous_;
};

void write_text(const std::filesystem::path& file, const std::string& text);
std::string read_text(const std::filesystem::path& file);

}  // namespace tbrelax::testing
