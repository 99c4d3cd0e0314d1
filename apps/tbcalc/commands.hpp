#pragma once
// tbcalc's commands. Each writes its report (or JSON document) to `out`, warnings, progress and
// faults to `err`, and returns the exit status. The processes of `group` share the files, or
// the Hessian of freq's one file; rank 0 reports, the others return 0.

#include <iosfwd>

#include "cli.hpp"
#include "parallel/work_sharing.hpp"

namespace tbrelax::tbcalc {

int run_energy(const options& o, work_sharing& group, std::ostream& out, std::ostream& err);
int run_freq(const options& o, work_sharing& group, std::ostream& out, std::ostream& err);
int run_elastic(const options& o, work_sharing& group, std::ostream& out, std::ostream& err);
int run_relax(const options& o, work_sharing& group, std::ostream& out, std::ostream& err);
int run_ts(const options& o, work_sharing& group, std::ostream& out, std::ostream& err);
int run_path(const options& o, work_sharing& group, std::ostream& out, std::ostream& err);
int run_irc(const options& o, work_sharing& group, std::ostream& out, std::ostream& err);
int run_scan(const options& o, work_sharing& group, std::ostream& out, std::ostream& err);

}  // namespace tbrelax::tbcalc
