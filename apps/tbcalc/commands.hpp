#pragma once
// tbcalc's commands. Each writes its report (or JSON document) to `out`, warnings, progress and
// faults to `err`, and returns the exit status.

#include <iosfwd>

#include "cli.hpp"

namespace tbrelax::tbcalc {

int run_energy(const options& o, std::ostream& out, std::ostream& err);
int run_freq(const options& o, std::ostream& out, std::ostream& err);
int run_relax(const options& o, std::ostream& out, std::ostream& err);

}  // namespace tbrelax::tbcalc
