// The structure reader on any file, under either rule for element symbols, with its pauses
// answered from the input: it either fills a consistent state or stops with one of its faults,
// and a state it accepts is reported in a file that reads back as the same molecule.
#include <cmath>
#include <sstream>

#include "fuzz_support.hpp"
#include "io/diagnostic.hpp"
#include "io/read_coord.hpp"
#include "io/wri_crd.hpp"
#include "state/coincident_atoms.hpp"
#include "state/element.hpp"

using tbrelax::fuzz::require;

namespace {

void check_state(const tbrelax::common_var& c) {
  const auto n = static_cast<std::size_t>(c.at_count);
  require(c.allocated && c.x.size() == n && c.at_type.size() == n && c.amass.size() == 3 * n, "arrays fit the count");
  require(c.at_count == c.h_count + c.c_count + c.n_count + c.o_count, "the element counts add up");
  require(c.wfunc_count == c.h_count + 4 * (c.at_count - c.h_count), "the basis size follows the elements");
  require(c.sssss.size() == tbrelax::title_length, "the title is padded to its length");
  for (std::size_t a = 0; a < n; ++a) {
    require(c.at_type[a] >= 1 && c.at_type[a] <= 4, "every atom has an element");
    require(std::isfinite(c.x[a]) && std::isfinite(c.y[a]) && std::isfinite(c.z[a]), "coordinates are finite");
  }
}

// Within the 8 decimals of an F20.8 field and the rounding of reading that back.
bool reads_back(double back, double q) { return std::abs(back - q) <= 5.0000001e-9 + 2.3e-16 * std::abs(q); }

// The report's first N + 2 lines are a structure file: read back, the same elements and the
// coordinates to the 8 decimals written. Not where a coordinate fills its whole field (from
// 1e9 angstrom on, when it runs into the field before it or shows as asterisks), nor for a
// title that is blank (a blank line, which a reader skips) or starts with a quote (which
// would open a quoted text).
void check_report_reads_back(const tbrelax::common_var& c) {
  for (int a = 0; a < c.at_count; ++a)
    for (double q : {c.x[a], c.y[a], c.z[a]})
      if (!(std::abs(q) < 999999999.0)) return;
  const auto first = c.sssss.find_first_not_of(" \t");
  if (first == std::string::npos || c.sssss[first] == '\'' || c.sssss[first] == '"') return;
  std::istringstream report(tbrelax::report_text(c, -1.0));
  std::string head;
  for (int k = 0; k < c.at_count + 2; ++k) {
    std::string line;
    std::getline(report, line);
    head += line + '\n';
  }
  tbrelax::common_var back;
  std::ostringstream screen;
  std::istringstream keys;
  tbrelax::console quiet(screen, keys, false);
  tbrelax::read_coord(back, quiet, {.path = tbrelax::fuzz::scratch_file("report.xyz", head), .create_if_missing = false});
  require(back.at_count == c.at_count && back.at_type == c.at_type, "the report reads back as the same atoms");
  for (int a = 0; a < c.at_count; ++a)
    require(reads_back(back.x[a], c.x[a]) && reads_back(back.y[a], c.y[a]) && reads_back(back.z[a], c.z[a]),
            "the coordinates read back");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // The file, then after a NUL byte the keyboard's lines; without one, Enter for every pause.
  const std::string_view all(reinterpret_cast<const char*>(data), size);
  const auto nul = all.find('\0');
  const std::string file = tbrelax::fuzz::scratch_file("input.xyz", all.substr(0, nul));
  std::istringstream keyboard(nul == std::string_view::npos ? std::string(8, '\n') : std::string(all.substr(nul + 1)));
  std::ostringstream screen;
  tbrelax::console con(screen, keyboard);

  // The program's rule for element symbols (first character) and the tools' (whole symbol), by
  // the input's length.
  tbrelax::common_var c;
  try {
    tbrelax::read_coord(c, con, {.path = file, .create_if_missing = false, .whole_symbols = size % 2 == 1});
  } catch (const tbrelax::tb_error& e) {
    // The second pass reads what the first has accepted: only the keyboard can fail there.
    require(!c.allocated || e.where().file == "standard input", "a fault of the file leaves nothing allocated");
    require(!tbrelax::format_diagnostic("fuzz", e).empty(), "a fault has a message");
    return 0;
  }
  check_state(c);
  require(screen.str().find(" Coordinates have read successfully\n") != std::string::npos, "the report is shown");
  tbrelax::find_coincident_atoms(c);
  check_report_reads_back(c);
  return 0;
}
