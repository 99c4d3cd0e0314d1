#include "linalg/eigen_team.hpp"

#include <algorithm>
#include <chrono>

namespace tbrelax::eigen_detail {
namespace {

constexpr std::uint64_t byte = 0xff;
// A wait for the helper longer than this, and longer than the caller took for
// its own pieces, means that the helper lost its processor: a time slice of a
// shared processor lasts milliseconds.
constexpr auto long_wait = std::chrono::microseconds(200);
constexpr int max_penalty = 1 << 14;

}  // namespace

// Takes and runs one piece of the current round; false when none is left.
bool work_team::take(bool from_first) {
  std::uint64_t t = ticket_.load(std::memory_order_acquire);
  for (;;) {
    const int pieces = int((t >> 16) & byte), first = int((t >> 8) & byte), last = int(t & byte);
    if (first + last >= pieces) return false;
    const std::uint64_t next = t + (from_first ? std::uint64_t(1) << 8 : 1);
    if (ticket_.compare_exchange_weak(t, next, std::memory_order_acq_rel, std::memory_order_acquire)) {
      // The round cannot move on before this piece is done, so these belong to it.
      const piece_function f = function_.load(std::memory_order_relaxed);
      void* const context = context_.load(std::memory_order_relaxed);
      f(context, from_first ? first : pieces - 1 - last);
      if (done_.fetch_add(1, std::memory_order_acq_rel) + 1 == pieces) done_.notify_one();
      return true;
    }
  }
}

void work_team::run_pieces(int pieces, piece_function f, void* context) {
  if (pieces <= 1 || alone_ > 0) {
    alone_ = std::max(alone_ - 1, 0);
    for (int m = 0; m < pieces; ++m) f(context, m);
    return;
  }
  pieces = std::min(pieces, max_pieces);
  function_.store(f, std::memory_order_relaxed);
  context_.store(context, std::memory_order_relaxed);
  done_.store(0, std::memory_order_relaxed);
  ++round_;
  ticket_.store(round_ << 24 | std::uint64_t(pieces) << 16, std::memory_order_release);
  events_.fetch_add(1, std::memory_order_release);
  events_.notify_one();

  const auto start = std::chrono::steady_clock::now();
  while (take(true)) {
  }
  if (done_.load(std::memory_order_acquire) == pieces) return;
  const auto own = std::chrono::steady_clock::now();
  await(done_, [pieces](int x) { return x == pieces; });
  const auto wait = std::chrono::steady_clock::now() - own;
  if (wait > long_wait && wait > own - start) {
    alone_ = penalty_;
    penalty_ = std::min(2 * penalty_, max_penalty);
  }
}

void work_team::finish() {
  finished_.store(true, std::memory_order_release);
  events_.fetch_add(1, std::memory_order_release);
  events_.notify_one();
}

void work_team::serve() {
  for (;;) {
    const unsigned seen = events_.load(std::memory_order_acquire);
    if (take(false)) continue;
    if (finished_.load(std::memory_order_acquire)) return;
    await(events_, [seen](unsigned x) { return x != seen; });
  }
}

}  // namespace tbrelax::eigen_detail
