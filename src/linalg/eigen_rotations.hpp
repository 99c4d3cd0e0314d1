#pragma once
// Deferred application of the plane rotations of the QL iteration.
//
// The rotations depend only on the tridiagonal matrix, never on the vectors,
// so they are recorded as the iteration produces them and later applied to the
// vectors a block of rows at a time: every recorded rotation, in order, to one
// block of rows while it sits in cache, then the next block. Each row sees the
// same rotations in the same order as if they had been applied at once.

#include <cstddef>
#include <vector>

namespace tbrelax::eigen_detail {

struct rotation {
  double c;  // cosine
  double s;  // sine
};

// Where one sweep of a group of sweeps applied together sits in the group's
// range: it rotates the column pairs of steps r in [begin, end), and its
// rotation for step r is the recorded rotation number base + r.
struct group_member {
  int begin;
  int end;
  std::ptrdiff_t base;
};

class rotation_log {
 public:
  // Vectors of v are columns of an n-row matrix with leading dimension nm.
  rotation_log(double* v, int nm, int n);

  // Room for a sweep of rotations on the column pairs (i, i + 1), i = hi - 1
  // down to lo, in that order; applies what is recorded first if the log is full.
  rotation* begin_sweep(int lo, int hi);

  // Applies every recorded rotation to v and empties the log.
  void flush();

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
  void group_sweeps();
  void apply_groups(double* rows, std::size_t ld) const;

  double* v_;
  std::size_t ld_;
  int n_;
  std::vector<sweep> sweeps_;
  std::vector<rotation> rotations_;  // room for the log, of which used_ are taken
  std::size_t used_ = 0;
  std::vector<group> groups_;
  std::vector<group_member> members_;
  std::vector<double> tail_;      // the last rows of v when n is not a whole number of blocks
};

}  // namespace tbrelax::eigen_detail
