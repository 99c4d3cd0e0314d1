#include "parallel/process_group.hpp"

#include <cstdlib>

#ifdef TBRELAX_HAVE_MPI
#include "parallel/mpi/mpi_processes.hpp"
#endif

namespace tbrelax {
namespace {

// A launcher that starts the ranks of a job leaves one of these in their environment:
// Open MPI's mpiexec, PMIx (srun --mpi=pmix, Open MPI 5), PMI (MPICH's mpiexec, srun --mpi=pmi2).
// A program started by hand finds none, and needs no MPI start-up (a second or more).
[[maybe_unused]] bool started_by_launcher() {
  for (const char* name : {"OMPI_COMM_WORLD_SIZE", "PMIX_RANK", "PMI_RANK", "PMI_SIZE"})
    if (std::getenv(name)) return true;
  return false;
}

}  // namespace

std::unique_ptr<work_sharing> join_process_group([[maybe_unused]] int& argc, [[maybe_unused]] char**& argv,
                                                 [[maybe_unused]] std::function<int(std::exception_ptr)> on_fault) {
#ifdef TBRELAX_HAVE_MPI
  if (started_by_launcher()) return std::make_unique<mpi_processes>(argc, argv, std::move(on_fault));
#endif
  return std::make_unique<single_process>();
}

}  // namespace tbrelax
