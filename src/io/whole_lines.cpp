#include "io/whole_lines.hpp"

namespace tbrelax {

whole_lines::~whole_lines() {
  if (!pending_.empty()) target_.write(pending_.data(), static_cast<std::streamsize>(pending_.size())).flush();
}

void whole_lines::pass_whole_lines() {
  const auto end = pending_.rfind('\n');
  if (end == std::string::npos) return;
  target_.write(pending_.data(), static_cast<std::streamsize>(end + 1)).flush();
  pending_.erase(0, end + 1);
}

whole_lines::int_type whole_lines::overflow(int_type ch) {
  if (traits_type::eq_int_type(ch, traits_type::eof())) return traits_type::not_eof(ch);
  pending_ += traits_type::to_char_type(ch);
  if (pending_.back() == '\n') pass_whole_lines();
  return ch;
}

std::streamsize whole_lines::xsputn(const char* s, std::streamsize n) {
  pending_.append(s, static_cast<std::size_t>(n));
  pass_whole_lines();
  return n;
}

}  // namespace tbrelax
