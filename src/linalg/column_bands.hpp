#pragma once
// Work on many columns shared among the threads by bands of columns: each thread takes one band
// and runs everything on it (its products single-threaded), so that no thread waits for another
// until the end, which keeps the speed when the cores are shared. Every column is computed the
// same way whatever band holds it: the results do not depend on the number of threads.

#include <algorithm>
#include <cmath>
#include <type_traits>
#include <vector>

#ifdef _OPENMP
#include <omp.h>
#endif

#include "linalg/eigen_kernels.hpp"

namespace tbrelax {

// Below this many multiply-adds in all, or this many columns, the work stays on one thread:
// waking a second one would cost more than it saves.
inline constexpr double threaded_work = 1 << 20;
inline constexpr int threaded_columns = 32;

// The threads a parallel region started here would get: 1 inside another one.
inline int omp_threads() {
#ifdef _OPENMP
  return omp_in_parallel() ? 1 : omp_get_max_threads();
#else
  return 1;
#endif
}

// work(c0, c1, t) on bands of the columns [first, last), band t on thread t (t below
// omp_threads()), each starting on a whole vector register's width of columns; `total` is the
// multiply-adds of all of them. Column c's work grows as (c - first)^(power - 1), so the bands
// end at first + (last - first) (t / threads)^(1 / power) to hold equal work. A work function
// that takes only (c0, c1) is called so too.
template <class Work>
void in_column_bands(int first, int last, int power, double total, Work work) {
  int threads = 1;
  if (last - first >= threaded_columns && total >= threaded_work) threads = omp_threads();
  constexpr int step = eigen_detail::width;
  auto boundary = [&](int t) {
    if (t >= threads) return last;
    const double share = std::pow(double(t) / threads, 1.0 / power);
    return std::min(last, first + int(std::lround(share * (last - first) / step)) * step);
  };
#pragma omp parallel num_threads(threads) if (threads > 1)
  {
    int t = 0;
#ifdef _OPENMP
    t = omp_get_thread_num();
#endif
    const int begin = boundary(t), end = boundary(t + 1);
    if (begin < end) {
      if constexpr (std::is_invocable_v<Work, int, int, int>)
        work(begin, end, t);
      else
        work(begin, end);
    }
  }
}

// work(c0, c1, scratch) on blocks of at most `block` columns of each band, one band per
// thread, with scratch storage of its own: a block of columns stays in cache while a sequence
// of transformations passes over it.
template <class Work>
void in_column_blocks(int columns, int block, double total, Work work) {
  in_column_bands(0, columns, 1, total, [&](int begin, int end) {
    std::vector<double> scratch;
    for (int c = begin; c < end; c += block) work(c, std::min(c + block, end), scratch);
  });
}

}  // namespace tbrelax
