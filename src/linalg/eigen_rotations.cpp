#include "linalg/eigen_rotations.hpp"

#include <algorithm>
#include <array>
#include <type_traits>
#include <utility>

#include "linalg/eigen_kernels.hpp"

namespace tbrelax::eigen_detail {
namespace {

// Rotations held per row of v before they are applied: each flush walks v once,
// so this many keep that walk a small part of the work, in O(n) memory.
constexpr std::size_t rotations_per_row = 64;
constexpr int block_rows = rotation_block_rows;
constexpr int block_vectors = block_rows / width;  // vectors per column of a block
// Sweeps applied together in one walk over a block of rows: as many as keep
// their running columns in registers (32 of them with AVX-512, 16 otherwise).
constexpr int max_group = width == 8 ? 8 : width == 4 ? 2 : 1;

// Applies K consecutive sweeps over the common range [lo, hi] to rows
// [0, block_rows) of v. Sweep s handles the column pair (hi-1-r, hi-r) at step
// s + r, right after sweep s - 1 has finalised column hi-1-r, so a column
// travels through all K sweeps in registers: one load and one store per column
// and block for K rotations. Outside its own range a sweep passes the columns
// on untouched, so every row sees exactly the recorded rotations in order.
template <int K>
void apply_group(double* v, std::size_t ld, int lo, int hi, const double* rot, const group_member* m) {
  constexpr int P = block_vectors;
  const int len = hi - lo;
  auto col = [v, ld](int i) { return v + std::size_t(i) * ld; };
  vec t[K][P] = {};  // running column of each sweep
  vec x[P] = {};     // column passed from one sweep to the next
  for (int p = 0; p < P; ++p) t[0][p] = load(col(hi) + p * width);

  // One sweep's share of step tau; false once the later sweeps have not started yet.
  // The sweep index is a constant, so that t lives in registers throughout.
  auto sweep_step = [&](int tau, auto edge, auto sweep) __attribute__((always_inline)) {
    constexpr bool at_edge = decltype(edge)::value;
    constexpr int s = decltype(sweep)::value;
    const int r = tau - s;
    if constexpr (at_edge) {
      if (r < 0) {  // sweep s starts at the next step, from the column sweep s-1 just finished
        if (r == -1)
          for (int p = 0; p < P; ++p) t[s][p] = x[p];
        return false;
      }
      if (r >= len) {  // sweep s is done; its last column feeds the last rotation of sweep s+1
        for (int p = 0; p < P; ++p) x[p] = t[s][p];
        return true;
      }
    }
    if constexpr (s == 0)
      for (int p = 0; p < P; ++p) x[p] = load(col(hi - 1 - tau) + p * width);
    if (r < m[s].begin || r >= m[s].end) {
      for (int p = 0; p < P; ++p) {
        const vec y = t[s][p];
        t[s][p] = x[p];
        x[p] = y;
      }
      return true;
    }
    const double* q = rot + rotation_doubles * std::size_t(m[s].base + r);
    const vec c = splat(q[0]), sn = splat(q[1]);
    for (int p = 0; p < P; ++p) {
      const vec y = sn * x[p] + c * t[s][p];
      t[s][p] = c * x[p] - sn * t[s][p];
      x[p] = y;
    }
    return true;
  };
  // Inlined by force: an outlined call would push t and x out of registers.
  auto step = [&](int tau, auto edge) __attribute__((always_inline)) {
    [&]<int... S>(std::integer_sequence<int, S...>) __attribute__((always_inline)) {
      (sweep_step(tau, edge, std::integral_constant<int, S>{}) && ...);
    }(std::make_integer_sequence<int, K>{});
    const int r_last = tau - (K - 1);
    if (!decltype(edge)::value || (r_last >= 0 && r_last < len))
      for (int p = 0; p < P; ++p) store(col(hi - r_last) + p * width, x[p]);
  };

  const int steps = len + K - 1;
  int tau = 0;
  for (; tau < std::min(K - 1, steps); ++tau) step(tau, std::true_type{});
  for (; tau < len; ++tau) step(tau, std::false_type{});
  for (; tau < steps; ++tau) step(tau, std::true_type{});
  for (int p = 0; p < P; ++p) store(col(lo) + p * width, t[K - 1][p]);
}

using group_kernel = void (*)(double*, std::size_t, int, int, const double*, const group_member*);

template <int... K>
constexpr auto make_kernels(std::integer_sequence<int, K...>) {
  return std::array<group_kernel, sizeof...(K)>{&apply_group<K + 1>...};
}
constexpr auto group_kernels = make_kernels(std::make_integer_sequence<int, max_group>{});

}  // namespace

double* rotation_batch::add_sweep(int lo, int hi) {
  const std::size_t offset = used_;
  sweeps_.push_back({lo, hi, offset});
  used_ += std::size_t(hi - lo);
  return rotations_ + rotation_doubles * offset;
}

void rotation_batch::clear() {
  sweeps_.clear();
  used_ = 0;
}

// Gathers consecutive sweeps into groups over a common range of columns; a
// group stops growing when the steps a sweep merely passes through would add
// more than an eighth to the work.
void rotation_batch::seal() {
  groups_.clear();
  members_.clear();
  std::size_t a = 0;
  while (a < sweeps_.size()) {
    int lo = sweeps_[a].lo, hi = sweeps_[a].hi;
    std::size_t work = std::size_t(hi - lo), b = a + 1;
    for (; b < sweeps_.size() && b - a < std::size_t(max_group); ++b) {
      const int lo2 = std::min(lo, sweeps_[b].lo), hi2 = std::max(hi, sweeps_[b].hi);
      const std::size_t work2 = work + std::size_t(sweeps_[b].hi - sweeps_[b].lo);
      if (8 * (b - a + 1) * std::size_t(hi2 - lo2) > 9 * work2 + 64 * (b - a + 1)) break;
      lo = lo2;
      hi = hi2;
      work = work2;
    }
    groups_.push_back({lo, hi, int(b - a), members_.size()});
    for (std::size_t s = a; s < b; ++s) {
      const sweep& sw = sweeps_[s];
      const int begin = hi - sw.hi;
      members_.push_back({begin, hi - sw.lo, std::ptrdiff_t(sw.offset) - begin});
    }
    a = b;
  }
}

void rotation_batch::apply_groups(double* rows, std::size_t ld) const {
  for (const group& g : groups_)
    group_kernels[std::size_t(g.count - 1)](rows, ld, g.lo, g.hi, rotations_, members_.data() + g.members);
}

void rotation_batch::apply_to_block(double* v, std::size_t ld, int n, int b, double* tail) const {
  double* rows = v + std::size_t(b) * block_rows;
  const int count = std::min(block_rows, n - b * block_rows);
  if (count == block_rows) {
    apply_groups(rows, ld);
    return;
  }
  // The last rows go through a zero-padded copy, so that one kernel serves all.
  std::fill_n(tail, std::size_t(block_rows) * std::size_t(n), 0.0);
  for (int j = 0; j < n; ++j) std::copy_n(rows + std::size_t(j) * ld, count, tail + std::size_t(j) * block_rows);
  apply_groups(tail, block_rows);
  for (int j = 0; j < n; ++j) std::copy_n(tail + std::size_t(j) * block_rows, count, rows + std::size_t(j) * ld);
}

rotation_log::rotation_log(double* v, int nm, int n, eigen_workspace& workspace)
    : v_(v),
      ld_(std::size_t(nm)),
      n_(n),
      tail_(workspace.doubles((rotation_doubles * rotations_per_row + rotation_block_rows) * std::size_t(n))),
      batch_(tail_ + std::size_t(rotation_block_rows) * std::size_t(n), rotations_per_row * std::size_t(n)) {}

double* rotation_log::begin_sweep(int lo, int hi) {
  if (!batch_.fits(lo, hi)) flush();
  return batch_.add_sweep(lo, hi);
}

void rotation_log::flush() {
  if (batch_.empty()) return;
  batch_.seal();
  for (int b = 0; b < rotation_blocks(n_); ++b) batch_.apply_to_block(v_, ld_, n_, b, tail_);
  batch_.clear();
}

}  // namespace tbrelax::eigen_detail
