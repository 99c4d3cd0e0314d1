#include "io/console.hpp"

#include <istream>
#include <ostream>

#include "state/errors.hpp"

namespace tbrelax {

void console::write_line(const std::string& line) {
  // Flushed at once: a line of progress is worth seeing while the next block runs.
  screen_ << line << '\n' << std::flush;
}

void console::pause() {
  if (!pauses_) return;
  screen_.flush();
  std::string ignored;
  if (!std::getline(keyboard_, ignored))
    throw io_error("end of input while waiting for Enter", in_file("standard input"));
}

}  // namespace tbrelax
