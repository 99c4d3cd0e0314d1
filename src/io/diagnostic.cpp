#include "io/diagnostic.hpp"

#include <cstdio>
#include <sstream>

namespace tbrelax {

std::string format_diagnostic(std::string_view program, const tb_error& error) {
  const source_location& at = error.where();
  std::ostringstream head;
  head << program << ": ";
  if (!at.file.empty()) {
    head << at.file;
    if (at.line > 0) {
      head << ':' << at.line;
      if (at.column > 0) head << ':' << at.column;
    }
    head << ": ";
  }
  head << "error: " << error.what() << '\n';
  std::string text = head.str();
  if (at.line > 0 && at.column > 0 && !at.line_text.empty()) {
    char gutter[32];
    std::snprintf(gutter, sizeof gutter, "%5d | ", at.line);
    text += gutter + at.line_text + "\n      | ";
    // Tabs are kept in the padding so that the caret lines up with the field on any terminal.
    for (int k = 0; k + 1 < at.column && k < static_cast<int>(at.line_text.size()); ++k)
      text += at.line_text[k] == '\t' ? '\t' : ' ';
    text += '^';
    text += std::string(at.length > 1 ? at.length - 1 : 0, '~');
    text += '\n';
  }
  return text;
}

}  // namespace tbrelax
