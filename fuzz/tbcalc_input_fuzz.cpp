// tbcalc's commands on any structure file of a few atoms: a report and status 0, or a message
// naming the file and the status of its fault; never a crash, a hang or undefined behaviour,
// whatever the coordinates.
#include <algorithm>
#include <array>
#include <cctype>
#include <sstream>

#include "commands.hpp"
#include "fuzz_support.hpp"

using tbrelax::fuzz::require;

namespace {

int run(tbrelax::tbcalc::command cmd, const std::string& path, bool json, bool tbrelax_symbols, std::string& out,
        std::string& err) {
  tbrelax::tbcalc::options o;
  o.cmd = cmd;
  o.files = {path};
  o.json = json;
  o.tbrelax_symbols = tbrelax_symbols;
  // The Gamma point alone: the default grid of a small cell holds thousands of k-points, each a
  // full eigenproblem, which under the sanitizers takes longer than the hang limit. The lattice
  // sums, the cell checks and the reports are the same at any grid.
  o.periodic.grid = std::array<int, 3>{1, 1, 1};
  std::ostringstream out_stream, err_stream;
  tbrelax::single_process alone;
  int status = 0;
  switch (cmd) {
    case tbrelax::tbcalc::command::energy: status = tbrelax::tbcalc::run_energy(o, alone, out_stream, err_stream); break;
    case tbrelax::tbcalc::command::freq: status = tbrelax::tbcalc::run_freq(o, alone, out_stream, err_stream); break;
    default: std::abort();
  }
  out = out_stream.str();
  err = err_stream.str();
  return status;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  // A file of more than a few dozen lines would spend the time on evaluations, not on reading.
  const auto lines = std::count(text.begin(), text.end(), '\n');
  if (lines > 40) return -1;
  const std::string path = tbrelax::fuzz::scratch_file("input.xyz", text);

  std::string out, err;
  // Both report forms and both readings of element symbols, by the input's length.
  const bool json = size % 2 == 1, tbrelax_symbols = size % 3 == 0;
  const int status = run(tbrelax::tbcalc::command::energy, path, json, tbrelax_symbols, out, err);
  require(status >= 0 && status <= 4, "the status is one of the faults'");
  if (status != 0) {
    require(out.empty(), "a failed file prints no report");
    require(err.rfind("tbcalc: " + path + ":", 0) == 0 || err.find("\ntbcalc: " + path + ":") != std::string::npos,
            "the fault names the file");
    return 0;
  }
  require(out.rfind(json ? "{" : path + ": ", 0) == 0, "the report begins");
  // A file of five lines holds three atoms at most: the Hessian as well (6 N evaluations). Not
  // of a periodic cell, whose every evaluation is a k-point sampling.
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char ch) { return std::tolower(ch); });
  if (lines <= 5 && lower.find("lattice") == std::string::npos) {
    const int freq = run(tbrelax::tbcalc::command::freq, path, json, tbrelax_symbols, out, err);
    require(freq == 0 || freq == 3, "a molecule with an energy has a Hessian, or a non-finite one");
  }
  return 0;
}
