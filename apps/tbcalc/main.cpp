// tbcalc: the model of tbrelax for scripts and pipelines. Commands energy, freq and relax on
// any structure files, never waiting for a key; results as text or one JSON document.
// Exit status: 0 success, 1 input rejected, 2 file error, 3 non-finite energy, 4 out of memory,
// 64 usage error, 70 internal error; for several files the highest of 1..4 met. relax and freq
// stop between two evaluations on SIGINT or SIGTERM, with status 130 or 143. Under mpiexec the
// ranks share the work; rank 0 alone prints results and returns the status.

#include <iostream>
#include <new>
#include <optional>

#include "../signals/interruption.hpp"
#include "cli.hpp"
#include "commands.hpp"
#include "io/whole_lines.hpp"
#include "parallel/process_group.hpp"

namespace {

// A fault that is no file's own, or an interruption: its message, and the status the program
// ends with.
int report_fault(std::exception_ptr fault, std::ostream& err) {
  std::cout.flush();
  try {
    std::rethrow_exception(fault);
  } catch (const tbrelax::interrupted& e) {
    return tbrelax::signals::interrupted_by_signal("tbcalc", e.signal());
  } catch (const std::bad_alloc&) {
    err << "tbcalc: error: out of memory\n" << std::flush;
    return 4;
  } catch (const std::exception& e) {
    err << "tbcalc: internal error: " + std::string(e.what()) + "\n" << std::flush;
  } catch (...) {
    err << "tbcalc: internal error\n" << std::flush;
  }
  return 70;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace tbrelax::tbcalc;
  // A fault that escapes a shared task ends the whole job with its status.
  const auto group = tbrelax::join_process_group(argc, argv, [](std::exception_ptr f) { return report_fault(f, std::cerr); });
  const bool reporting = group->rank() == 0;
  const parsed p = parse_command_line(std::vector<std::string>(argv + 1, argv + argc));
  if (!p.run) {
    if (reporting) (p.status == 0 ? std::cout : std::cerr) << p.text << std::flush;
    return p.status;
  }
  // energy writes no file and may simply end at a signal; relax and freq stop cleanly. A
  // distributed run ends at once: its ranks would not stop at the same evaluation.
  if (p.run->cmd != command::energy && !p.run->distributed) tbrelax::signals::catch_interruptions();
  // Rank 0 prints the results. The ranks' warnings and progress share one standard error:
  // each line leaves in one piece.
  std::ostream nowhere(nullptr);
  std::ostream& out = reporting ? std::cout : nowhere;
  std::optional<tbrelax::whole_lines> lines;
  std::optional<std::ostream> line_stream;
  if (group->ranks() > 1) line_stream.emplace(&lines.emplace(std::cerr));
  std::ostream& err = line_stream ? *line_stream : std::cerr;
  // With --distributed every rank runs the same calculation: rank 0 alone speaks and writes
  // (faults that are no file's own still reach standard error from any rank).
  options run = *p.run;
  const bool quiet = run.distributed && !reporting;
  run.writes_files = !quiet;
  std::ostream& warnings = quiet ? nowhere : err;
  try {
    switch (run.cmd) {
      case command::energy: return run_energy(run, *group, out, warnings);
      case command::freq: return run_freq(run, *group, out, warnings);
      case command::relax: return run_relax(run, *group, out, warnings);
      case command::elastic: return run_elastic(run, *group, out, warnings);
      case command::scan: return run_scan(run, *group, out, warnings);
      case command::ts: return run_ts(run, *group, out, warnings);
      case command::path: return run_path(run, *group, out, warnings);
      case command::irc: return run_irc(run, *group, out, warnings);
    }
    return 70;
  } catch (...) {
    return report_fault(std::current_exception(), err);
  }
}
