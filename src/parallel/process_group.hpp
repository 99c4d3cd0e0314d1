#pragma once
// The processes a program run shares its work with: every rank of the job when mpiexec (or a
// batch system's launcher) started it and the build has MPI, else this process alone.

#include <exception>
#include <functional>
#include <memory>

#include "parallel/work_sharing.hpp"

namespace tbrelax {

// `on_fault` reports a fault that escapes a shared task on some rank and returns the status
// the whole job then ends with (with MPI only; alone, faults propagate as usual). The group
// lives until the program's work is done: with MPI its end is MPI_Finalize.
std::unique_ptr<work_sharing> join_process_group(int& argc, char**& argv,
                                                 std::function<int(std::exception_ptr)> on_fault);

}  // namespace tbrelax
