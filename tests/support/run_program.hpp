#pragma once
// Runs a built program in a directory with a given standard input, as a user would.

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/test_support.hpp"

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

// A program started in `dir` whose standard input stays open and empty, so that it waits at a
// pause, until wait(). Killed if still running when destroyed.
class running_program {
 public:
  running_program(const std::filesystem::path& program, const std::vector<std::string>& args,
                  const std::filesystem::path& dir);
  ~running_program();
  running_program(const running_program&) = delete;
  running_program& operator=(const running_program&) = delete;

  // What it has written to standard output so far.
  std::string out_so_far() const;
  void send(int signal) const;
  // Whether it has installed a handler for `signal` yet (a program linked to large libraries
  // takes a while to reach its main).
  bool catches(int signal) const;
  // Closes its standard input and waits for it to end.
  run_result wait();

 private:
  temp_dir io_;
  pid_t pid_ = -1;
  int input_ = -1;  // the writing end of its standard input
};

}  // namespace tbrelax::testing
