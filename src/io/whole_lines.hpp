#pragma once
// A stream buffer that passes text on to another stream one whole line at a time, in one
// write. Processes that share a terminal or a log (the ranks of an MPI job on one standard
// error) then never cut into one another's lines.

#include <ostream>
#include <streambuf>
#include <string>

namespace tbrelax {

class whole_lines final : public std::streambuf {
 public:
  explicit whole_lines(std::ostream& target) : target_(target) {}
  ~whole_lines() override;  // passes on an unfinished last line
  whole_lines(const whole_lines&) = delete;
  whole_lines& operator=(const whole_lines&) = delete;

 protected:
  int_type overflow(int_type ch) override;
  std::streamsize xsputn(const char* s, std::streamsize n) override;

 private:
  void pass_whole_lines();

  std::ostream& target_;
  std::string pending_;
};

}  // namespace tbrelax
