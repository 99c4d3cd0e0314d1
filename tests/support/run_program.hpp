#pragma once
// Runs a built program in a directory with a given standard input, as a user would.

#include <filesystem>
#include <string>
#include <vector>

namespace tbrelax::testing {

struct run_result {
  int status = -1;
  std::string out;  // standard output
  std::string err;  // standard error
};

// Path of a program built by this project.
std::filesystem::path built_program(const std::string& name);

// Runs `program args...` in `dir` with `input` on standard input (closed after it).
run_result run_program(const std::filesystem::path& program, const std::vector<std::string>& args,
                       const std::filesystem::path& dir, const std::string& input);

}  // namespace tbrelax::testing
