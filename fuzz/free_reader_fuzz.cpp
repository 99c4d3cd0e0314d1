// The free-format reader on any text, driven by any sequence of read statements and items: the
// items it returns keep their promises, and every fault points into the text.
#include <fuzzer/FuzzedDataProvider.h>

#include <cmath>

#include "fuzz_support.hpp"
#include "io/diagnostic.hpp"
#include "io/free_reader.hpp"

using tbrelax::fuzz::require;

namespace {

void check_location(const tbrelax::source_location& at, const std::vector<std::string>& lines) {
  require(at.file == "fuzz.xyz", "a fault names the file");
  require(at.line >= 1 && at.line <= static_cast<int>(lines.size()) + 1, "a fault's line is in the file or just after it");
  if (at.line > static_cast<int>(lines.size())) return;
  const std::string& text = lines[at.line - 1];
  require(at.line_text == text, "a fault shows its own line");
  require(at.column >= 1 && at.column <= static_cast<int>(text.size()), "a fault's column is on its line");
  require(at.length >= 1 && at.column - 1 + at.length <= static_cast<int>(text.size()), "a fault's field is on its line");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider input(data, size);
  // The statements come from the end of the input, the file from the rest.
  std::vector<int> items(input.ConsumeIntegralInRange<int>(1, 24));
  for (int& item : items) item = input.ConsumeIntegralInRange<int>(0, 5);
  const std::vector<std::string> lines = tbrelax::fuzz::split_lines(input.ConsumeRemainingBytesAsString());

  tbrelax::free_reader reader("fuzz.xyz", lines);
  reader.begin_read();
  try {
    for (const int item : items) {
      switch (item) {
        case 0: reader.begin_read(); break;
        case 1:
        case 2: {
          const std::size_t length = item == 1 ? 1 : 50;
          if (auto text = reader.next_text(length)) require(text->size() == length, "a text item has its length");
          break;
        }
        case 3: reader.next_integer(); break;
        case 4:
          if (auto v = reader.next_real()) require(std::isfinite(*v), "a real is finite");
          break;
        case 5:
          if (auto v = reader.next_real_single()) require(std::isfinite(*v), "a single-precision real is finite");
          break;
      }
    }
    check_location(reader.end_of_file(), lines);
  } catch (const tbrelax::io_error& e) {
    check_location(e.where(), lines);
    require(!tbrelax::format_diagnostic("fuzz", e).empty(), "a fault has a message");
  }
  return 0;
}
