#pragma once
// Sharing independent pieces of work (the files of a batch, the rows of a Hessian) among the
// processes of one run. The model never sees this: a caller cuts its work into numbered tasks
// whose results are byte strings, and process 0 receives every result. Without a process
// group (no MPI in the build, or a run not started by mpiexec) one process does every task
// in order.

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tbrelax {

class work_sharing {
 public:
  using task = std::function<std::string(std::size_t index)>;
  using receiver = std::function<void(std::size_t index, std::string&& result)>;
  using ordering = std::function<std::vector<std::size_t>()>;

  virtual ~work_sharing() = default;
  virtual int rank() const = 0;   // this process; 0 is the one that reports
  virtual int ranks() const = 0;  // how many share the work

  // Runs run(i) exactly once for every i < count, somewhere. A process that is free takes the
  // next index of order() (called on rank 0 only; 0, 1, 2, ... without it), so the indices one
  // process is given come in that order. On rank 0, receive(i, result) is called once per
  // task as results come in, never two calls at once. Every process calls share with the same
  // count; a task must not call share or broadcast itself.
  virtual void share(std::size_t count, const task& run, const receiver& receive, const ordering& order = {}) = 0;

  // Replaces `bytes` on every process by rank 0's.
  virtual void broadcast(std::string& bytes) = 0;
};

// One process doing all the work in order.
class single_process final : public work_sharing {
 public:
  int rank() const override { return 0; }
  int ranks() const override { return 1; }
  void share(std::size_t count, const task& run, const receiver& receive, const ordering& order = {}) override;
  void broadcast(std::string&) override {}
};

// Doubles as bytes and back, for results that travel between processes of one machine type.
std::string pack_doubles(std::span<const double> values);
std::vector<double> unpack_doubles(std::string_view bytes);

}  // namespace tbrelax
