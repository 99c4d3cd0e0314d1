#include "parallel/thread_batch.hpp"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace tbrelax {

void run_in_threads(std::size_t count, int threads, const std::function<void(std::size_t)>& task) {
  if (threads <= 1 || count <= 1) {
    for (std::size_t i = 0; i < count; ++i) task(i);
    return;
  }
  std::atomic<std::size_t> next{0};
  std::atomic<bool> failed{false};
  std::exception_ptr first;
  std::mutex guard;
  auto worker = [&] {
    for (std::size_t i; !failed && (i = next++) < count;) {
      try {
        task(i);
      } catch (...) {
        const std::lock_guard<std::mutex> lock(guard);
        if (!first) first = std::current_exception();
        failed = true;
      }
    }
  };
  std::vector<std::thread> pool;
  const std::size_t n = std::min<std::size_t>(count, static_cast<std::size_t>(threads));
  for (std::size_t t = 1; t < n; ++t) pool.emplace_back(worker);
  worker();
  for (std::thread& t : pool) t.join();
  if (first) std::rethrow_exception(first);
}

}  // namespace tbrelax
