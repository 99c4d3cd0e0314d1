#pragma once
// The ranks of an MPI job sharing the work. Rank 0 works too: a helper thread of its own
// hands out the indices to the other ranks and takes in their results, sleeping between
// short polls so that it costs rank 0's computation next to nothing.

#include <mpi.h>

#include <exception>
#include <functional>

#include "parallel/work_sharing.hpp"

namespace tbrelax {

class mpi_processes final : public work_sharing {
 public:
  // What a rank does with a fault that escapes a task (out of memory, an internal error):
  // report it and give the status that the whole job then ends with.
  using fault_handler = std::function<int(std::exception_ptr)>;

  // MPI_Init_thread; MPI_Finalize at destruction. Where MPI gives no thread support, rank 0
  // only hands out work.
  mpi_processes(int& argc, char**& argv, fault_handler on_fault);
  ~mpi_processes() override;
  mpi_processes(const mpi_processes&) = delete;
  mpi_processes& operator=(const mpi_processes&) = delete;

  int rank() const override { return rank_; }
  int ranks() const override { return ranks_; }
  void share(std::size_t count, const task& run, const receiver& receive, const ordering& order = {}) override;
  void broadcast(std::string& bytes) override;

  // The job's communicator, for work that needs MPI itself.
  MPI_Comm communicator() const { return MPI_COMM_WORLD; }

  // Reports the fault through on_fault and ends the whole job with its status: for a fault on
  // one rank while the others may be waiting for it.
  [[noreturn]] void abort_job(std::exception_ptr fault) const;

 private:
  void share_from_rank_0(std::size_t count, const task& run, const receiver& receive, const ordering& order,
                         int tag) const;
  void hand_out(const std::function<std::size_t()>& next, const receiver& deliver, int tag) const;
  void take_work(const task& run, int tag) const;

  int rank_ = 0, ranks_ = 1;
  bool threads_ = false;
  unsigned generation_ = 0;  // calls of share so far: keeps one call's messages from the next's
  fault_handler on_fault_;
};

}  // namespace tbrelax
