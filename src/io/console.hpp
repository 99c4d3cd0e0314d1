#pragma once
// The screen and the keyboard of a run. Every screen line and every pause goes through one
// console object, so tests can hand it string streams and batch tools one that never waits.

#include <iosfwd>
#include <string>

#include "io/free_format.hpp"

namespace tbrelax {

class console {
 public:
  // With `pauses` false, pause() returns at once (batch use: nothing waits for a key).
  console(std::ostream& screen, std::istream& keyboard, bool pauses = true)
      : screen_(screen), keyboard_(keyboard), pauses_(pauses) {}

  // One free-format line (see free_format).
  template <class... Items>
  void print(const Items&... items) { write_line(free_format(items...)); }
  void write_line(const std::string& line);

  // Waits until the user presses Enter: reads and discards one line. The end of the input
  // stream here is a fatal I/O error (io_error).
  void pause();

  std::ostream& screen() { return screen_; }

 private:
  std::ostream& screen_;
  std::istream& keyboard_;
  bool pauses_;
};

}  // namespace tbrelax
