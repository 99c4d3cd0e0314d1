#pragma once
// Whole text files in and out, with the failures turned into io_error values.

#include <string>
#include <vector>

namespace tbrelax {

// The lines of a text file, without their line ends (a carriage return before a line feed is
// dropped too). With `create_if_missing`, a missing file is first created empty, so that
// opening never requires the file to exist; where it cannot be created, that is the error.
std::vector<std::string> load_lines(const std::string& path, bool create_if_missing);

// Replaces the file's content. The text goes to a temporary file beside it that is then
// renamed over the old one, so a failure half-way (a full disk) never leaves a truncated
// report; where no temporary file can be made, the file is rewritten in place.
void replace_file(const std::string& path, const std::string& content);

}  // namespace tbrelax
