#pragma once
// Deferred application of the plane rotations of the QL iteration.
//
// The rotations depend only on the tridiagonal matrix, never on the vectors,
// so they are recorded as the iteration produces them and later applied to the
// vectors a block of rows at a time: every recorded rotation, in order, to one
// block of rows while it sits in cache, then the next block. Each row sees the
// same rotations in the same order as if they had been applied at once, so the
// vectors do not depend on how the rotations are cut into batches.

#include <atomic>
#include <cstddef>
#include <memory>
#include <vector>

#include "linalg/eigensolver.hpp"

namespace tbrelax::eigen_detail {

// Rotation number r is stored as its cosine and sine at [2r] and [2r + 1].
inline constexpr std::size_t rotation_doubles = 2;

// Where one sweep of a group of sweeps applied together sits in the group's
// range: it rotates the column pairs of steps r in [begin, end), and its
// rotation for step r is the recorded rotation number base + r.
struct group_member {
  int begin;
  int end;
  std::ptrdiff_t base;
};

// Rows of v that one walk over the columns rotates together.
inline constexpr int rotation_block_rows = 16;

// A batch of recorded sweeps, in storage for capacity rotations.
class rotation_batch {
 public:
  rotation_batch(double* storage, std::size_t capacity) : rotations_(storage), capacity_(capacity) {}

  std::size_t size() const { return used_; }
  bool empty() const { return sweeps_.empty(); }
  bool fits(int lo, int hi) const { return used_ + std::size_t(hi - lo) <= capacity_; }

  // Room for a sweep of rotations on the column pairs (i, i + 1), i = hi - 1
  // down to lo, in that order. Needs fits(lo, hi).
  double* add_sweep(int lo, int hi);

  // Prepares the recorded sweeps for apply_to_block.
  void seal();
  void clear();

  // Applies every sweep, in order, to the rows of block b of the n x n matrix v.
  // tail is scratch of rotation_block_rows x n for a last block shorter than that.
  void apply_to_block(double* v, std::size_t ld, int n, int b, double* tail) const;

 private:
  struct sweep {
    int lo;
    int hi;
    std::size_t offset;
  };
  struct group {  // sweeps applied together over the columns [lo, hi]
    int lo;
    int hi;
    int count;
    std::size_t members;  // where their places in the group start in members_
  };
  void apply_groups(double* rows, std::size_t ld) const;

  std::vector<sweep> sweeps_;
  double* rotations_;
  std::size_t capacity_;
  std::size_t used_ = 0;  // rotations recorded
  std::vector<group> groups_;
  std::vector<group_member> members_;
};

inline int rotation_blocks(int n) { return (n + rotation_block_rows - 1) / rotation_block_rows; }

// Records sweeps and applies them on the calling thread whenever the batch is full.
class rotation_log {
 public:
  // Vectors of v are columns of an n-row matrix with leading dimension nm.
  rotation_log(double* v, int nm, int n, eigen_workspace& workspace);

  // Room for a sweep on the column pairs (i, i + 1), i = hi - 1 down to lo;
  // applies what is recorded first if the batch is full.
  double* begin_sweep(int lo, int hi);

  // Applies every recorded rotation to v and empties the log.
  void flush();

 private:
  double* v_;
  std::size_t ld_;
  int n_;
  double* tail_;
  rotation_batch batch_;
};

// Records sweeps on one thread (the producer) while other threads apply the
// batches already complete. Every thread, producer included, takes blocks of
// rows one at a time from the oldest batch with blocks left; a block receives
// the batches in the order they were recorded. Nobody waits on a thread that
// has not taken a block: a partner that is slow to start, or descheduled, only
// leaves more blocks to the others.
class rotation_pipeline {
 public:
  rotation_pipeline(double* v, int nm, int n, eigen_workspace& workspace);
  ~rotation_pipeline();

  // Producer side: as rotation_log.
  double* begin_sweep(int lo, int hi);
  void flush();
  // Producer side: no more sweeps follow; helpers return from serve.
  void finish();

  // Helper side: applies blocks until finish.
  void serve();

 private:
  struct slot;
  slot& filling_slot();
  void publish();
  bool try_apply(unsigned& cursor, bool from_top);
  void apply_block(slot& s, unsigned seq, int b);

  double* v_;
  std::size_t ld_;
  int n_;
  int blocks_;
  std::vector<std::unique_ptr<slot>> slots_;
  std::unique_ptr<std::atomic<unsigned>[]> applied_;  // batches applied to each block so far
  std::atomic<unsigned> published_{0};                // batches handed out so far
  std::atomic<bool> finished_{false};
  std::atomic<unsigned> events_{0};  // bumped at each hand-out and at the end, for sleepers
  unsigned filling_ = 0;     // number of the batch being recorded
  bool recording_ = false;   // whether its slot has been taken
  unsigned cursor_ = 0;      // the producer's oldest batch with blocks possibly left
  double* tail_;
};

}  // namespace tbrelax::eigen_detail
