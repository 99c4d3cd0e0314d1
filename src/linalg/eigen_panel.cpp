#include "linalg/eigen_panel.hpp"

#include <algorithm>

#include "linalg/eigen_kernels.hpp"

namespace tbrelax::eigen_detail {
namespace {

constexpr int tile_rows = 2 * width;
constexpr int tile_cols = 4;
static_assert(tile_rows + tile_cols <= panel_padding);

// The panel's update of rows [k0, k0 + tile_rows) of the columns j .. j + C - 1,
// in acc[column][half]. Each column's rows share the loads of u_i and q_i.
template <int C>
inline void update_tile(const double* u, const double* q, std::size_t lu, int count, int k0, int j, vec (&acc)[C][2]) {
  for (int c = 0; c < C; ++c) acc[c][0] = acc[c][1] = vec{};
  for (int i = 0; i < count; ++i) {
    const double* ui = u + std::size_t(i) * lu;
    const double* qi = q + std::size_t(i) * lu;
    const vec u0 = load(ui + k0), u1 = load(ui + k0 + width), q0 = load(qi + k0), q1 = load(qi + k0 + width);
    for (int c = 0; c < C; ++c) {
      const vec uj = splat(ui[j + c]), qj = splat(qi[j + c]);
      acc[c][0] = madd(q0, uj, madd(u0, qj, acc[c][0]));
      acc[c][1] = madd(q1, uj, madd(u1, qj, acc[c][1]));
    }
  }
}

template <int C>
void update_group(double* v, std::size_t ld, int j, const double* u, const double* q, std::size_t lu, int count) {
  vec acc[C][2];
  int k0 = 0;
  for (; k0 + tile_rows <= j + 1; k0 += tile_rows) {  // every row of the tile lies on or above the diagonal
    update_tile<C>(u, q, lu, count, k0, j, acc);
    for (int c = 0; c < C; ++c) {
      double* a = v + std::size_t(j + c) * ld + k0;
      store(a, load(a) - acc[c][0]);
      store(a + width, load(a + width) - acc[c][1]);
    }
  }
  // Tiles across the diagonal: rows below it are computed (from the padding) but not stored.
  for (; k0 < j + C; k0 += tile_rows) {
    update_tile<C>(u, q, lu, count, k0, j, acc);
    for (int c = 0; c < C; ++c) {
      double* a = v + std::size_t(j + c) * ld;
      const int end = std::min(k0 + tile_rows, j + c + 1);
      for (int k = k0; k < end; ++k) a[k] -= acc[c][(k - k0) / width][(k - k0) % width];
    }
  }
}

}  // namespace

void mirror_lower(double* v, std::size_t ld, int n) {
  constexpr int tile = 32;  // keeps the strided writes of a tile within cache
  for (int jb = 0; jb < n; jb += tile) {
    const int je = std::min(jb + tile, n);
    for (int ib = jb; ib < n; ib += tile) {
      const int ie = std::min(ib + tile, n);
      for (int j = jb; j < je; ++j)
        for (int i = std::max(ib, j + 1); i < ie; ++i) v[j + i * ld] = v[i + j * ld];
    }
  }
}

// Columns go in pairs so that each load of w and p serves two columns.
void multiply_columns(const double* v, std::size_t ld, int j0, int j1, const double* __restrict w,
                      double* __restrict p) {
  int j = j0;
  for (; j + 1 < j1; j += 2) {
    const double* __restrict a0 = v + std::size_t(j) * ld;
    const double* __restrict a1 = a0 + ld;
    const vec w0 = splat(w[j]), w1 = splat(w[j + 1]);
    vec s0{}, s1{};
    int k = 0;
    for (; k + width <= j; k += width) {
      const vec x0 = load(a0 + k), x1 = load(a1 + k), wk = load(w + k);
      s0 = madd(x0, wk, s0);
      s1 = madd(x1, wk, s1);
      store(p + k, madd(x1, w1, madd(x0, w0, load(p + k))));
    }
    double r0 = sum(s0), r1 = sum(s1);
    // Remaining rows above the diagonal, then the diagonals of both columns.
    for (; k < j; ++k) {
      r0 += a0[k] * w[k];
      r1 += a1[k] * w[k];
      p[k] += a0[k] * w[j] + a1[k] * w[j + 1];
    }
    r0 += a0[j] * w[j];
    r1 += a1[j] * w[j] + a1[j + 1] * w[j + 1];
    p[j] += r0 + a1[j] * w[j + 1];
    p[j + 1] += r1;
  }
  if (j < j1) {  // an odd column left over
    const double* a0 = v + std::size_t(j) * ld;
    double r = 0.0;
    for (int k = 0; k < j; ++k) {
      r += a0[k] * w[k];
      p[k] += a0[k] * w[j];
    }
    p[j] += r + a0[j] * w[j];
  }
}

void update_columns(double* v, std::size_t ld, int j0, int j1, const double* u, const double* q, std::size_t lu,
                    int count) {
  int j = j0;
  for (; j + tile_cols <= j1; j += tile_cols) update_group<tile_cols>(v, ld, j, u, q, lu, count);
  for (; j < j1; ++j) update_group<1>(v, ld, j, u, q, lu, count);
}

// Four pairs at a time, each load of w serving eight sums.
void panel_dots(const double* u, const double* q, std::size_t lu, int count, const double* w, int len, double* uw,
                double* qw) {
  int i = 0;
  for (; i < count; i += 4) {
    const int group = std::min(4, count - i);
    vec su[4] = {}, sq[4] = {};
    int k = 0;
    for (; k + width <= len; k += width) {
      const vec wk = load(w + k);
      for (int g = 0; g < 4; ++g)
        if (g < group) {
          su[g] = madd(load(u + std::size_t(i + g) * lu + k), wk, su[g]);
          sq[g] = madd(load(q + std::size_t(i + g) * lu + k), wk, sq[g]);
        }
    }
    for (int g = 0; g < group; ++g) {
      const double* ui = u + std::size_t(i + g) * lu;
      const double* qi = q + std::size_t(i + g) * lu;
      double a = sum(su[g]), b = sum(sq[g]);
      for (int kk = k; kk < len; ++kk) {
        a += ui[kk] * w[kk];
        b += qi[kk] * w[kk];
      }
      uw[i + g] = a;
      qw[i + g] = b;
    }
  }
}

// Four vectors of x at a time, the u and q terms in separate sums: eight
// independent chains of multiply-adds keep the units busy.
void subtract_panel(double* x, int len, const double* u, const double* q, std::size_t lu, int count, const double* a,
                    const double* b) {
  constexpr int span = 4 * width;
  int k = 0;
  for (; k + span <= len; k += span) {
    vec su[4] = {}, sq[4] = {};
    for (int i = 0; i < count; ++i) {
      const double* ui = u + std::size_t(i) * lu + k;
      const double* qi = q + std::size_t(i) * lu + k;
      const vec ai = splat(a[i]), bi = splat(b[i]);
      for (int h = 0; h < 4; ++h) {
        su[h] = madd(ai, load(ui + h * width), su[h]);
        sq[h] = madd(bi, load(qi + h * width), sq[h]);
      }
    }
    for (int h = 0; h < 4; ++h) store(x + k + h * width, load(x + k + h * width) - (su[h] + sq[h]));
  }
  for (; k < len; ++k) {
    double su = 0.0, sq = 0.0;
    for (int i = 0; i < count; ++i) {
      su += a[i] * u[std::size_t(i) * lu + std::size_t(k)];
      sq += b[i] * q[std::size_t(i) * lu + std::size_t(k)];
    }
    x[k] -= su + sq;
  }
}

}  // namespace tbrelax::eigen_detail
