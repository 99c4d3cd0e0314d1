// tbcalc: the model of tbrelax for scripts and pipelines. Commands energy, freq and relax on
// any structure file, never waiting for a key; results as text or one JSON document.
// Exit status: 0 success, 1 input rejected, 2 file error, 3 non-finite energy, 4 out of memory,
// 64 usage error, 70 internal error; for several files the highest of 1..4 met. relax and freq
// stop between two evaluations on SIGINT or SIGTERM, with status 130 or 143.

#include <iostream>
#include <new>

#include "../signals/interruption.hpp"
#include "cli.hpp"
#include "commands.hpp"

int main(int argc, char** argv) {
  using namespace tbrelax::tbcalc;
  const parsed p = parse_command_line(std::vector<std::string>(argv + 1, argv + argc));
  if (!p.run) {
    (p.status == 0 ? std::cout : std::cerr) << p.text << std::flush;
    return p.status;
  }
  // energy writes no file and may simply end at a signal; relax and freq stop cleanly.
  if (p.run->cmd != command::energy) tbrelax::signals::catch_interruptions();
  try {
    switch (p.run->cmd) {
      case command::energy: return run_energy(*p.run, std::cout, std::cerr);
      case command::freq: return run_freq(*p.run, std::cout, std::cerr);
      case command::relax: return run_relax(*p.run, std::cout, std::cerr);
    }
    return 70;
  } catch (const tbrelax::interrupted& e) {
    return tbrelax::signals::interrupted_by_signal("tbcalc", e.signal());
  } catch (const std::bad_alloc&) {
    std::cout.flush();
    std::cerr << "tbcalc: error: out of memory\n";
    return 4;
  } catch (const std::exception& e) {
    std::cout.flush();
    std::cerr << "tbcalc: internal error: " << e.what() << '\n';
    return 70;
  }
}
