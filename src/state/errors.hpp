#pragma once
// The faults the library reports. Each carries where it happened and what went wrong; only the
// programs turn them into messages and exit statuses. Nothing below apps/ exits the process.

#include <exception>
#include <stdexcept>
#include <string>

namespace tbrelax {

// Where a fault lies: a file, and inside it a line, a column and the length of the field
// (1-based; 0 where unknown), with the text of that line for the caret display.
struct source_location {
  std::string file;
  int line = 0;
  int column = 0;
  int length = 0;
  std::string line_text;
};

// A fault that concerns a whole file rather than a place in it.
inline source_location in_file(std::string file) {
  source_location at;
  at.file = std::move(file);
  return at;
}

class tb_error : public std::runtime_error {
 public:
  tb_error(std::string what, source_location where = {})
      : std::runtime_error(std::move(what)), where_(std::move(where)) {}
  const source_location& where() const { return where_; }
  // Exit status of the programs for this kind of fault.
  virtual int status() const = 0;

 private:
  source_location where_;
};

// The input is well formed but describes no molecule the model can take (wrong atom count,
// no atoms, coincident atoms). The program has already shown its own message and paused.
class input_rejected : public tb_error {
 public:
  using tb_error::tb_error;
  int status() const override { return 1; }
};

// A file or a stream failed: cannot be opened, read or written, a malformed number, an
// unexpected end of file, or the end of standard input during a pause.
class io_error : public tb_error {
 public:
  using tb_error::tb_error;
  int status() const override { return 2; }
};

// A computation gave no usable number (a non-finite energy or force).
class numerical_error : public tb_error {
 public:
  using tb_error::tb_error;
  int status() const override { return 3; }
};

// The run needs more memory than the process may use. Found before the large arrays are
// allocated, so nothing has been computed or written yet.
class out_of_memory : public tb_error {
 public:
  using tb_error::tb_error;
  int status() const override { return 4; }
};

// A request to stop (SIGINT or SIGTERM in the programs, Ctrl-C in Python), seen at the start
// of an evaluation. Not a fault of any input, so it is no tb_error: a batch tool that goes on
// with its next file after a fault must not go on after this. The status is the shell's for a
// process ended by the signal (128 + its number).
class interrupted : public std::exception {
 public:
  explicit interrupted(int signal) : signal_(signal) {}
  const char* what() const noexcept override { return "interrupted"; }
  int signal() const { return signal_; }
  int status() const { return 128 + signal_; }

 private:
  int signal_;
};

}  // namespace tbrelax
