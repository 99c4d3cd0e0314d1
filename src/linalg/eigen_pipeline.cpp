// Rotations applied by other threads while the QL iteration records the next
// batch.
//
// The iteration itself is serial and takes a fifth of the work; with the
// batches applied concurrently it no longer adds to the time on two threads.
// Threads hand work over through counters rather than barriers: a block of
// rows is taken by one compare-and-swap, and a thread waits only for a block
// someone else has taken and not yet finished. Waits spin briefly and then
// sleep, so that a thread sharing its processor with a descheduled partner
// gives the processor up instead of burning it.

#include <algorithm>
#include <cstdint>

#include "linalg/eigen_rotations.hpp"
#include "linalg/eigen_team.hpp"

namespace tbrelax::eigen_detail {
namespace {

constexpr unsigned slot_count = 3;             // batches recorded or being applied at once
constexpr std::size_t rotations_per_row = 64;  // capacity of a batch, per row of v
constexpr int spins = 2000;                    // polls before a wait goes to sleep

// A batch's ticket: the batch number (modulo 2^20) in bits 44 and up, the
// blocks taken from the last one down in bits 22-43, those taken from the
// first one up in bits 0-21. The producer takes blocks from the top of v and
// the helper from the bottom, so that two threads work on neighbouring blocks,
// which may share cache lines, only where they meet.
constexpr int count_bits = 22;
constexpr std::uint64_t count_mask = (std::uint64_t(1) << count_bits) - 1;
constexpr std::uint64_t seq_mask = (std::uint64_t(1) << (64 - 2 * count_bits)) - 1;
constexpr std::uint64_t ticket_of(unsigned seq) { return (std::uint64_t(seq) & seq_mask) << (2 * count_bits); }

// Rotations recorded into batch number seq before it is handed out: small at
// first, so that the helpers start early, then growing to the full capacity.
std::size_t batch_limit(unsigned seq, int n) {
  const std::size_t per_row = std::min<std::size_t>(rotations_per_row, std::size_t(8) << std::min(seq, 3u));
  return per_row * std::size_t(n);
}

}  // namespace

struct rotation_pipeline::slot {
  slot(double* storage, std::size_t capacity) : batch(storage, capacity) {}
  rotation_batch batch;
  std::atomic<std::uint64_t> ticket{~std::uint64_t(0)};  // see ticket_of
  std::atomic<int> done{0};  // blocks of the batch applied; all of them while the slot is free
};

rotation_pipeline::rotation_pipeline(double* v, int nm, int n, eigen_workspace& workspace)
    : v_(v), ld_(std::size_t(nm)), n_(n), blocks_(rotation_blocks(n)) {
  const std::size_t capacity = rotations_per_row * std::size_t(n);
  tail_ = workspace.doubles((slot_count * rotation_doubles * capacity) + rotation_block_rows * std::size_t(n));
  double* storage = tail_ + rotation_block_rows * std::size_t(n);
  for (unsigned i = 0; i < slot_count; ++i) {
    slots_.push_back(std::make_unique<slot>(storage + i * rotation_doubles * capacity, capacity));
    slots_.back()->done.store(blocks_, std::memory_order_relaxed);
  }
  applied_ = std::make_unique<std::atomic<unsigned>[]>(std::size_t(blocks_));
  for (int b = 0; b < blocks_; ++b) applied_[b].store(0, std::memory_order_relaxed);
}

rotation_pipeline::~rotation_pipeline() = default;

rotation_pipeline::slot& rotation_pipeline::filling_slot() { return *slots_[filling_ % slot_count]; }

void rotation_pipeline::apply_block(slot& s, unsigned seq, int b) {
  // The previous batch may still be on this block in another thread.
  await(applied_[b], [seq](unsigned x) { return x == seq; }, spins);
  s.batch.apply_to_block(v_, ld_, n_, b, tail_);
  applied_[b].store(seq + 1, std::memory_order_release);
  applied_[b].notify_all();
  if (s.done.fetch_add(1, std::memory_order_acq_rel) + 1 == blocks_) s.done.notify_all();
}

// Takes and applies one block of the oldest batch from cursor on that has
// blocks left, from the top of v down or from the bottom up; false when there
// is none.
bool rotation_pipeline::try_apply(unsigned& cursor, bool from_top) {
  const unsigned published = published_.load(std::memory_order_acquire);
  const std::uint64_t step = from_top ? 1 : std::uint64_t(1) << count_bits;
  for (; cursor < published; ++cursor) {
    slot& s = *slots_[cursor % slot_count];
    const std::uint64_t seq = ticket_of(cursor);
    std::uint64_t t = s.ticket.load(std::memory_order_acquire);
    // A slot holding a later batch means this one is finished.
    for (;;) {
      const std::uint64_t top = t & count_mask, bottom = (t >> count_bits) & count_mask;
      if ((t & ~(count_mask | count_mask << count_bits)) != seq || top + bottom >= std::uint64_t(blocks_)) break;
      if (s.ticket.compare_exchange_weak(t, t + step, std::memory_order_acq_rel, std::memory_order_acquire)) {
        apply_block(s, cursor, from_top ? int(top) : blocks_ - 1 - int(bottom));
        return true;
      }
    }
  }
  return false;
}

void rotation_pipeline::publish() {
  slot& s = filling_slot();
  s.batch.seal();
  s.done.store(0, std::memory_order_relaxed);
  s.ticket.store(ticket_of(filling_), std::memory_order_release);
  published_.store(++filling_, std::memory_order_release);
  events_.fetch_add(1, std::memory_order_release);
  events_.notify_all();
  recording_ = false;
}

double* rotation_pipeline::begin_sweep(int lo, int hi) {
  if (recording_ && filling_slot().batch.size() + std::size_t(hi - lo) > batch_limit(filling_, n_)) publish();
  slot& s = filling_slot();
  if (!recording_) {
    // The slot is free once every block of its last batch is applied; help until then.
    while (s.done.load(std::memory_order_acquire) != blocks_)
      if (!try_apply(cursor_, true)) await(s.done, [this](int x) { return x == blocks_; }, spins);
    s.batch.clear();
    recording_ = true;
  }
  return s.batch.add_sweep(lo, hi);
}

void rotation_pipeline::flush() {
  if (recording_ && !filling_slot().batch.empty()) publish();
  while (try_apply(cursor_, true)) {
  }
  for (unsigned i = 0; i < slot_count; ++i) await(slots_[i]->done, [this](int x) { return x == blocks_; }, spins);
}

void rotation_pipeline::finish() {
  finished_.store(true, std::memory_order_release);
  events_.fetch_add(1, std::memory_order_release);
  events_.notify_all();
}

void rotation_pipeline::serve() {
  unsigned cursor = 0;
  for (;;) {
    const unsigned seen = events_.load(std::memory_order_acquire);
    if (try_apply(cursor, false)) continue;
    if (finished_.load(std::memory_order_acquire)) return;
    // Nothing left to take: sleep until a batch is handed out or the producer finishes.
    await(events_, [seen](unsigned x) { return x != seen; }, spins);
  }
}

}  // namespace tbrelax::eigen_detail
