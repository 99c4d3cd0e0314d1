// Householder reduction of a symmetric matrix to tridiagonal form, from the
// last row up, a panel of reflectors at a time.
//
// Row i of the lower triangle is strided in column-major storage, so the lower
// triangle is first mirrored onto the upper one and the reduction works on the
// columns of the upper triangle, which hold the same numbers contiguously.
//
// Within a panel the matrix is left as it was at the panel's start, A0, and
// the reflectors so far are kept as the pairs (u_i, q_i) of their rank-two
// updates: the current matrix is A0 - sum_i (u_i q_i^T + q_i u_i^T). Each step
// brings its own row up to date, multiplies A0 by its Householder vector and
// corrects the product by the pairs; at the end of the panel the pairs update
// the remaining triangle at once, in register tiles. The products by A0, the
// corrections and the panel updates are split into pieces that a second
// thread shares (see work_team); the pieces depend on the sizes alone, so the
// results do not depend on the number of threads.

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "linalg/eigen_detail.hpp"
#include "linalg/eigen_kernels.hpp"
#include "linalg/eigen_panel.hpp"
#include "linalg/eigen_team.hpp"

#ifdef _OPENMP
#include <omp.h>
#endif

namespace tbrelax::eigen_detail {
namespace {

constexpr int panel_size = 32;      // reflectors per panel
constexpr int max_pieces = 8;       // pieces of a product by A0
constexpr int update_pieces = 8;    // pieces of a panel update
constexpr int threaded_from = 128;  // order from which a second thread takes pieces

// Bounds of count pieces of the columns [0, l) with about equal parts of the
// triangle, all but the last starting at multiples of step.
void column_pieces(int l, int count, int step, int* bounds) {
  bounds[0] = 0;
  for (int m = 1; m < count; ++m) bounds[m] = step * int(double(l) * std::sqrt(double(m) / count) / step);
  bounds[count] = l;
}

class reduction {
 public:
  reduction(int nm, int n, double* d, double* e, double* v, eigen_workspace& workspace, bool from_upper)
      : ld_(std::size_t(nm)), lu_(std::size_t(n) + panel_padding), n_(n), from_upper_(from_upper), d_(d), e_(e), v_(v),
        work_(workspace.doubles((2 * panel_size + max_pieces + 2) * lu_)) {}

  void run(work_team* team);

 private:
  double* u(int i) { return work_ + std::size_t(i) * lu_; }
  double* q(int i) { return u(panel_size + i); }
  double* part(int m) { return u(2 * panel_size + m); }  // A0 w by pieces; the last one the corrections
  double* acc() { return u(2 * panel_size + max_pieces + 1); }

  template <class Piece>
  static void share(work_team* team, int pieces, Piece& piece) {
    if (team)
      team->run(pieces, piece);
    else
      for (int m = 0; m < pieces; ++m) piece(m);
  }
  bool step(work_team* team, int c, int count);
  void finish_panel(work_team* team, int top, int bottom, int count);

  std::size_t ld_;
  std::size_t lu_;  // room for a panel vector, padding included
  int n_;
  bool from_upper_;  // the matrix is already in the upper triangle
  double *d_, *e_, *v_;
  double* work_;
  int row_[panel_size];      // the row of each reflector of the panel
  double scale_[panel_size];  // sigma H of each reflector of the panel
  double coef_u_[panel_size], coef_q_[panel_size];
};

void reduction::run(work_team* team) {
  if (!from_upper_) mirror_lower(v_, ld_, n_);
  for (int top = n_ - 1; top >= 1;) {
    const int bottom = std::max(1, top - panel_size + 1);
    int count = 0;
    for (int c = top; c >= bottom; --c)
      if (step(team, c, count)) ++count;
    if (count > 0) finish_panel(team, top, bottom, count);
    top = bottom - 1;
  }
  d_[0] = 0.0;
  e_[0] = 0.0;
}

// The reflector of row c, after count reflectors of the panel; false when the
// row needs none.
bool reduction::step(work_team* team, int c, int count) {
  const int l = c;
  double* col = v_ + std::size_t(c) * ld_;  // row c of the matrix, diagonal included
  for (int i = 0; i < count; ++i) {
    coef_u_[i] = q(i)[c];
    coef_q_[i] = u(i)[c];
  }
  subtract_panel(col, c + 1, u(0), q(0), lu_, count, coef_u_, coef_q_);

  double sigma = 0.0;
  if (l > 1)
    for (int k = 0; k < l; ++k) sigma += std::abs(col[k]);
  if (l == 1 || sigma == 0.0) {
    e_[c] = col[l - 1];
    d_[c] = 0.0;
    return false;
  }
  // Scaling by the row's 1-norm keeps the sum of squares clear of overflow and underflow.
  double* w = u(count);
  double h = 0.0;
  for (int k = 0; k < l; ++k) {
    w[k] = col[k] / sigma;
    h += w[k] * w[k];
  }
  double f = w[l - 1];
  const double g = -std::copysign(std::sqrt(h), f);
  e_[c] = sigma * g;
  h -= f * g;
  w[l - 1] = f - g;
  std::fill(w + l, w + l + panel_padding, 0.0);  // read, but not used, by the panel update

  // A w = A0 w by pieces of columns, minus the panel's corrections as one more piece.
  int bounds[max_pieces + 1];
  const int pieces = l >= 512 ? max_pieces : l >= 256 ? 4 : l >= 128 ? 2 : 1;
  column_pieces(l, pieces, 2, bounds);
  double* corrections = part(max_pieces);
  auto piece = [&](int m) {
    if (m == pieces) {
      panel_dots(u(0), q(0), lu_, count, w, l, coef_q_, coef_u_);
      std::fill(corrections, corrections + l, 0.0);
      subtract_panel(corrections, l, u(0), q(0), lu_, count, coef_u_, coef_q_);
      return;
    }
    double* p = part(m);
    std::fill(p, p + bounds[m + 1], 0.0);
    multiply_columns(v_, ld_, bounds[m], bounds[m + 1], w, p);
  };
  share(team, pieces + (count > 0 ? 1 : 0), piece);
  // Piece m reaches rows [0, bounds[m + 1]).
  double* a = acc();
  for (int first = 0; first < pieces; ++first)
    for (int k = bounds[first]; k < bounds[first + 1]; ++k) {
      double s = part(first)[k];
      for (int m = first + 1; m < pieces; ++m) s += part(m)[k];
      a[k] = count > 0 ? s + corrections[k] : s;
    }

  f = 0.0;
  for (int j = 0; j < l; ++j) {
    a[j] /= h;
    f += a[j] * w[j];
  }
  const double hh = f / (h + h);
  double* qw = q(count);
  for (int j = 0; j < l; ++j) qw[j] = a[j] - hh * w[j];
  std::fill(qw + l, qw + l + panel_padding, 0.0);
  for (int k = 0; k < l; ++k) col[k] = w[k] * sigma;
  d_[c] = h;
  row_[count] = c;
  scale_[count] = sigma * h;
  return true;
}

// Row c left of the diagonal keeps u / H for the accumulation of Q, written a
// panel at a time so that each column receives its rows together. Then the
// remaining triangle, columns [0, bottom), takes the panel's updates.
void reduction::finish_panel(work_team* team, int top, int bottom, int count) {
  for (int j = 0; j < top; ++j)
    for (int i = 0; i < count && j < row_[i]; ++i) v_[std::size_t(row_[i]) + std::size_t(j) * ld_] = u(i)[j] / scale_[i];
  int bounds[update_pieces + 1];
  const int pieces = bottom >= threaded_from ? update_pieces : 1;
  column_pieces(bottom, pieces, 4, bounds);
  auto piece = [&](int m) { update_columns(v_, ld_, bounds[m], bounds[m + 1], u(0), q(0), lu_, count); };
  share(team, pieces, piece);
}

}  // namespace

void householder_reduce(int nm, int n, double* d, double* e, double* v, eigen_workspace& workspace, bool from_upper) {
  reduction r(nm, n, d, e, v, workspace, from_upper);
#ifdef _OPENMP
  if (n >= threaded_from && omp_get_max_threads() > 1) {
    work_team team;
#pragma omp parallel num_threads(2)
    {
      if (omp_get_thread_num() == 0) {
        r.run(&team);
        team.finish();
      } else {
        team.serve();
      }
    }
    return;
  }
#endif
  r.run(nullptr);
}

}  // namespace tbrelax::eigen_detail
