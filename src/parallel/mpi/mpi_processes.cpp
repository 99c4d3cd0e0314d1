#include "parallel/mpi/mpi_processes.hpp"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <limits>
#include <mutex>
#include <numeric>
#include <thread>

namespace tbrelax {
namespace {

// A message to rank 0 is the index of the task just finished (none at the first request)
// followed by its result; the answer is the next index, or none when the work is done.
using index_word = std::uint64_t;
constexpr index_word none = std::numeric_limits<index_word>::max();

std::string with_index(index_word index, const std::string& result) {
  std::string message(sizeof index, '\0');
  std::memcpy(message.data(), &index, sizeof index);
  return message + result;
}

// How long rank 0's helper sleeps between looks for a request: short against any task worth
// sharing, long enough that the polls cost well under 1% of a core.
constexpr auto poll_interval = std::chrono::microseconds(200);

}  // namespace

mpi_processes::mpi_processes(int& argc, char**& argv, fault_handler on_fault) : on_fault_(std::move(on_fault)) {
  int provided = MPI_THREAD_SINGLE;
  MPI_Init_thread(&argc, &argv, MPI_THREAD_SERIALIZED, &provided);
  // The helper thread and rank 0's own tasks never call MPI at the same time (tasks make no
  // MPI calls), so serialised calls from two threads are enough.
  threads_ = provided >= MPI_THREAD_SERIALIZED;
  MPI_Comm_rank(MPI_COMM_WORLD, &rank_);
  MPI_Comm_size(MPI_COMM_WORLD, &ranks_);
}

mpi_processes::~mpi_processes() { MPI_Finalize(); }

void mpi_processes::abort_job(std::exception_ptr fault) const {
  int status = 70;
  try {
    status = on_fault_ ? on_fault_(fault) : 70;
  } catch (...) {
  }
  // The other ranks may be waiting for this one: only ending the job releases them.
  MPI_Abort(MPI_COMM_WORLD, status);
  std::terminate();
}

void mpi_processes::share(std::size_t count, const task& run, const receiver& receive, const ordering& order) {
  // Two tags per call, cycling below the smallest upper bound MPI guarantees (32767).
  const int tag = static_cast<int>(2 * (generation_++ % 16000));
  if (rank_ != 0) {
    take_work(run, tag);
    return;
  }
  try {
    share_from_rank_0(count, run, receive, order, tag);
  } catch (...) {
    abort_job(std::current_exception());
  }
}

void mpi_processes::share_from_rank_0(std::size_t count, const task& run, const receiver& receive,
                                      const ordering& order, int tag) const {
  std::vector<std::size_t> sequence;
  if (order) {
    sequence = order();
  } else {
    sequence.resize(count);
    std::iota(sequence.begin(), sequence.end(), std::size_t{0});
  }
  std::atomic<std::size_t> cursor{0};
  const std::function<std::size_t()> next = [&] {
    const std::size_t at = cursor.fetch_add(1);
    return at < sequence.size() ? sequence[at] : std::numeric_limits<std::size_t>::max();
  };
  std::mutex receiving;
  const receiver deliver = [&](std::size_t index, std::string&& result) {
    const std::lock_guard lock(receiving);
    receive(index, std::move(result));
  };
  auto work_here = [&] {
    for (std::size_t i = next(); i < count; i = next()) deliver(i, run(i));
  };
  if (ranks_ == 1) {
    work_here();
  } else if (threads_) {
    // A fault on the helper thread cannot travel to this one: it ends the job there.
    std::thread helper([&] {
      try {
        hand_out(next, deliver, tag);
      } catch (...) {
        abort_job(std::current_exception());
      }
    });
    try {
      work_here();
    } catch (...) {
      abort_job(std::current_exception());  // the helper is still serving: end the job from here
    }
    helper.join();
  } else {
    hand_out(next, deliver, tag);
  }
}

void mpi_processes::hand_out(const std::function<std::size_t()>& next, const receiver& deliver, int tag) const {
  for (int open = ranks_ - 1; open > 0;) {
    MPI_Status status;
    for (int arrived = 0;;) {
      MPI_Iprobe(MPI_ANY_SOURCE, tag, MPI_COMM_WORLD, &arrived, &status);
      if (arrived) break;
      std::this_thread::sleep_for(poll_interval);
    }
    int size = 0;
    MPI_Get_count(&status, MPI_BYTE, &size);
    std::string message(static_cast<std::size_t>(size), '\0');
    MPI_Recv(message.data(), size, MPI_BYTE, status.MPI_SOURCE, tag, MPI_COMM_WORLD, MPI_STATUS_IGNORE);
    const std::size_t following = next();
    const index_word answer = following == std::numeric_limits<std::size_t>::max() ? none : following;
    MPI_Send(&answer, 1, MPI_UINT64_T, status.MPI_SOURCE, tag + 1, MPI_COMM_WORLD);
    if (answer == none) --open;
    index_word done = none;
    std::memcpy(&done, message.data(), sizeof done);
    if (done != none) deliver(static_cast<std::size_t>(done), message.substr(sizeof done));
  }
}

void mpi_processes::take_work(const task& run, int tag) const {
  std::string message = with_index(none, "");
  for (;;) {
    MPI_Send(message.data(), static_cast<int>(message.size()), MPI_BYTE, 0, tag, MPI_COMM_WORLD);
    index_word index = none;
    MPI_Recv(&index, 1, MPI_UINT64_T, 0, tag + 1, MPI_COMM_WORLD, MPI_STATUS_IGNORE);
    if (index == none) return;
    try {
      message = with_index(index, run(static_cast<std::size_t>(index)));
    } catch (...) {
      abort_job(std::current_exception());
    }
  }
}

void mpi_processes::broadcast(std::string& bytes) {
  index_word size = bytes.size();
  MPI_Bcast(&size, 1, MPI_UINT64_T, 0, MPI_COMM_WORLD);
  bytes.resize(static_cast<std::size_t>(size));
  MPI_Bcast(bytes.data(), static_cast<int>(size), MPI_BYTE, 0, MPI_COMM_WORLD);
}

}  // namespace tbrelax
