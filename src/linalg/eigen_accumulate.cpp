// Accumulation of the Householder reflectors into the orthogonal matrix Q.
//
// Q is built from the top-left corner outwards: reflector i acts on rows and
// columns below i, and row and column i become those of the identity once it
// has been applied. Every column of Q sees the reflectors in increasing order,
// independently of the other columns, so the reflectors are taken a block at a
// time: copied out of v into contiguous buffers, then applied one after another
// to each column while that column stays in cache.

#include <algorithm>
#include <cstddef>

#include "linalg/eigen_detail.hpp"
#include "linalg/eigen_kernels.hpp"

namespace tbrelax::eigen_detail {
namespace {

constexpr int block = 32;  // reflectors applied per walk over Q

// Applies reflectors first..last - 1 (those flagged active) to the C columns
// x, x + ld, ...: x[0..c) -= (u_c . x[0..c)) w_c. The update by one reflector
// is fused with the dot product of the next; the columns share the loads of u
// and w.
template <int C>
void apply_reflectors(double* x, std::size_t ld, int first, int last, int c0, const bool* active,
                      const double* u, const double* w, std::size_t stride) {
  int c = first;
  while (c < last && !active[c - c0]) ++c;
  if (c >= last) return;
  double g[C];
  for (int m = 0; m < C; ++m) g[m] = dot(u + std::size_t(c - c0) * stride, x + m * ld, c);
  for (;;) {
    int next = c + 1;
    while (next < last && !active[next - c0]) ++next;
    const double* wc = w + std::size_t(c - c0) * stride;
    if (next >= last) {
      for (int m = 0; m < C; ++m)
        for (int k = 0; k < c; ++k) x[m * ld + k] -= g[m] * wc[k];
      return;
    }
    const double* un = u + std::size_t(next - c0) * stride;
    vec vg[C], s[C][2];
    for (int m = 0; m < C; ++m) {
      vg[m] = splat(g[m]);
      s[m][0] = s[m][1] = vec{};
    }
    // Two accumulators per column hide the latency of the additions.
    int k = 0;
    for (; k + 2 * width <= c; k += 2 * width)
      for (int h = 0; h < 2; ++h) {
        const vec wk = load(wc + k + h * width), uk = load(un + k + h * width);
        for (int m = 0; m < C; ++m) {
          const vec xk = load(x + m * ld + k + h * width) - vg[m] * wk;
          store(x + m * ld + k + h * width, xk);
          s[m][h] += uk * xk;
        }
      }
    if (k + width <= c) {
      const vec wk = load(wc + k), uk = load(un + k);
      for (int m = 0; m < C; ++m) {
        const vec xk = load(x + m * ld + k) - vg[m] * wk;
        store(x + m * ld + k, xk);
        s[m][0] += uk * xk;
      }
      k += width;
    }
    for (int m = 0; m < C; ++m) {
      double* xm = x + m * ld;
      double r = sum(s[m][0] + s[m][1]);
      int kk = k;
      for (; kk < c; ++kk) {
        xm[kk] -= g[m] * wc[kk];
        r += un[kk] * xm[kk];
      }
      for (; kk < next; ++kk) r += un[kk] * xm[kk];
      g[m] = r;
    }
    c = next;
  }
}

}  // namespace

void accumulate_reflectors(int nm, int n, double* d, double* v, eigen_workspace& workspace) {
  const std::size_t ld = std::size_t(nm), nn = std::size_t(n);
  double* u = workspace.doubles(2 * std::size_t(block) * nn);  // u of each reflector in the block
  double* w = u + std::size_t(block) * nn;  // u / H of each reflector in the block
  bool active[block];

  for (int c0 = 0; c0 < n; c0 += block) {
    const int c1 = std::min(c0 + block, n);
    for (int c = c0; c < c1; ++c) {
      active[c - c0] = c > 0 && d[c] != 0.0;
      const double* col = v + std::size_t(c) * ld;
      std::copy(col, col + c, u + std::size_t(c - c0) * nn);
      d[c] = col[c];
    }
    // Row c left of the diagonal holds u / H: read it a short column segment at a time.
    for (int j = 0; j + 1 < c1; ++j) {
      const double* col = v + std::size_t(j) * ld;
      for (int c = std::max(c0, j + 1); c < c1; ++c) w[std::size_t(c - c0) * nn + std::size_t(j)] = col[c];
    }
    // Columns left of the block go four at a time; the block's own columns start as
    // those of the identity and meet only the reflectors after them.
    const int groups = (c0 + 3) / 4, tasks = groups + (c1 - c0);
#ifdef _OPENMP
#pragma omp parallel for schedule(dynamic, 2) if (c1 >= 128)
#endif
    for (int task = 0; task < tasks; ++task) {
      if (task < groups) {
        const int j = 4 * task, count = std::min(4, c0 - j);
        double* x = v + std::size_t(j) * ld;
        for (int m = 0; m < count; ++m) std::fill(x + m * ld + c0, x + m * ld + c1, 0.0);
        if (count == 4)
          apply_reflectors<4>(x, ld, c0, c1, c0, active, u, w, nn);
        else
          for (int m = 0; m < count; ++m) apply_reflectors<1>(x + m * ld, ld, c0, c1, c0, active, u, w, nn);
      } else {
        const int j = c0 + (task - groups);
        double* x = v + std::size_t(j) * ld;
        std::fill(x, x + c1, 0.0);
        x[j] = 1.0;
        apply_reflectors<1>(x, ld, j + 1, c1, c0, active, u, w, nn);
      }
    }
  }
}

}  // namespace tbrelax::eigen_detail
