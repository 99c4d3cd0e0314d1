#pragma once
// The command line that starts tbcalc on `ranks` ranks of an MPI job.

#include <cstdlib>
#include <string>
#include <vector>

#include "support/run_program.hpp"

namespace tbrelax::testing {

inline std::vector<std::string> mpiexec_args(int ranks, const std::vector<std::string>& args) {
  // Open MPI refuses to start as root (a container, CI) unless told twice.
  setenv("OMPI_ALLOW_RUN_AS_ROOT", "1", 0);
  setenv("OMPI_ALLOW_RUN_AS_ROOT_CONFIRM", "1", 0);
  std::vector<std::string> all;
  if (std::string(TBRELAX_MPIEXEC_OVERSUBSCRIBE) != "") all.push_back(TBRELAX_MPIEXEC_OVERSUBSCRIBE);
  all.insert(all.end(), {TBRELAX_MPIEXEC_NUMPROC_FLAG, std::to_string(ranks), built_program("tbcalc")});
  all.insert(all.end(), args.begin(), args.end());
  return all;
}

}  // namespace tbrelax::testing
