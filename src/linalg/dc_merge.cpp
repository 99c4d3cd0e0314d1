// The merge step of divide and conquer: deflation, the secular equation, and the eigenvectors
// of the rank-one update carried into the basis of the halves by one packed product.
//
// Deflation sets aside the eigenpairs the update leaves (to rounding) unchanged: those whose
// component of z is negligible, and one of every two values so close that a plane rotation of
// their vectors makes one component vanish. In molecules, whose orbitals are mostly local,
// most pairs deflate, which is what makes the method fast here. The vectors of the remaining
// K values come from z-hat, the vector for which the computed roots are exact eigenvalues
// (Loewner's formula): they are then orthogonal to working precision however close the roots.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "linalg/dc_detail.hpp"
#include "linalg/packed_gemm.hpp"

namespace tbrelax::dc_detail {
namespace {

// Which rows of the block a column of q can be non-zero in.
enum column_kind : unsigned char { top_only, both, bottom_only };

// Below this many values the per-value loops (K^2 work each) stay on one thread.
constexpr int threaded_from = 512;

struct deflation {
  std::vector<int> kept;       // columns kept for the secular equation, values ascending
  std::vector<int> deflated;   // columns set aside, values ascending
  std::vector<column_kind> kind;
};

// Plane rotation of columns x and y of length n: (x, y) := (c x + s y, c y - s x).
void rotate(double* x, double* y, int n, double c, double s) {
  for (int i = 0; i < n; ++i) {
    const double xi = x[i], yi = y[i];
    x[i] = c * xi + s * yi;
    y[i] = c * yi - s * xi;
  }
}

deflation deflate(const merge_problem& p, double* D, double* z, double rho) {
  const int n1 = p.n1, N = p.n1 + p.n2;
  deflation r;
  r.kind.resize(N);
  for (int j = 0; j < N; ++j) r.kind[j] = j < n1 ? top_only : bottom_only;
  // Both halves are ascending; on a tie the top one comes first.
  std::vector<int> order(N);
  for (int a = 0, b = n1, m = 0; m < N; ++m) order[m] = (b >= N || (a < n1 && D[a] <= D[b])) ? a++ : b++;
  double largest_d = 0, largest_z = 0;
  for (int j = 0; j < N; ++j) {
    largest_d = std::max(largest_d, std::abs(D[j]));
    largest_z = std::max(largest_z, std::abs(z[j]));
  }
  const double tol = 8 * unit_roundoff * std::max(largest_d, largest_z);
  auto set_aside = [&](int column) {  // keeps r.deflated ascending
    r.deflated.push_back(column);
    for (std::size_t m = r.deflated.size() - 1; m > 0 && D[r.deflated[m - 1]] > D[column]; --m)
      std::swap(r.deflated[m - 1], r.deflated[m]);
  };
  int previous = -1;  // the last column kept so far, not yet final
  for (int next : order) {
    if (rho * std::abs(z[next]) <= tol) {
      set_aside(next);
      continue;
    }
    if (previous < 0) {
      previous = next;
      continue;
    }
    // A rotation of the two columns puts all of their z into `next`; where the change it makes
    // to the values is below the tolerance, `previous` deflates.
    const double s0 = z[previous], c0 = z[next];
    const double r_norm = std::hypot(c0, s0), gap = D[next] - D[previous];
    const double c = c0 / r_norm, s = -s0 / r_norm;
    if (gap <= 0 || std::abs(gap * c * s) <= tol) {
      z[next] = r_norm;
      z[previous] = 0;
      if (r.kind[previous] != r.kind[next]) r.kind[previous] = r.kind[next] = both;
      rotate(p.q + previous * p.ld, p.q + next * p.ld, N, c, s);
      const double d_previous = D[previous] * c * c + D[next] * s * s;
      D[next] = D[previous] * s * s + D[next] * c * c;
      D[previous] = d_previous;
      set_aside(previous);
    } else {
      r.kept.push_back(previous);
    }
    previous = next;
  }
  if (previous >= 0) r.kept.push_back(previous);
  return r;
}

// Column j of q, new order: column from[j] of the old one. Cycles are followed with one spare
// column.
void permute_columns(double* q, std::size_t ld, int rows, const std::vector<int>& from) {
  const int n = int(from.size());
  std::vector<char> done(n, 0);
  std::vector<double> spare(rows);
  for (int start = 0; start < n; ++start) {
    if (done[start] || from[start] == start) continue;
    std::memcpy(spare.data(), q + start * ld, sizeof(double) * rows);
    int j = start;
    for (;;) {
      done[j] = 1;
      const int source = from[j];
      if (source == start) {
        std::memcpy(q + j * ld, spare.data(), sizeof(double) * rows);
        break;
      }
      std::memcpy(q + j * ld, q + source * ld, sizeof(double) * rows);
      j = source;
    }
  }
}

}  // namespace

void merge(const merge_problem& p) {
  const int n1 = p.n1, N = p.n1 + p.n2;
  double* D = p.values;
  // z = Q^T (e_last + sign(beta) e_first) / sqrt 2 and rho = 2 |beta|, so that |z| = 1.
  std::vector<double> z(N);
  const double half_root = std::sqrt(0.5), sign = p.beta < 0 ? -1.0 : 1.0;
  for (int j = 0; j < N; ++j)
    z[j] = j < n1 ? p.q[(n1 - 1) + j * p.ld] * half_root : sign * p.q[n1 + j * p.ld] * half_root;
  const double rho = 2 * std::abs(p.beta);
  const deflation def = deflate(p, D, z.data(), rho);
  const int K = int(def.kept.size());

  // The secular equation of the kept values.
  std::vector<double> dk(K), wk(K);
  for (int i = 0; i < K; ++i) {
    dk[i] = D[def.kept[i]];
    wk[i] = z[def.kept[i]];
  }
  std::vector<secular_root> roots(K);
#pragma omp parallel for schedule(dynamic, 8) if (K >= threaded_from)
  for (int j = 0; j < K; ++j) roots[j] = solve_secular_root(K, dk.data(), wk.data(), rho, j);

  // z-hat_i^2 = -(d_i - lambda_i) prod_{j != i} (d_i - lambda_j) / (d_i - d_j), up to a common
  // factor that the normalisation of the vectors removes; its signs are those of z.
  std::vector<double> zhat(K);
#pragma omp parallel for schedule(static) if (K >= threaded_from)
  for (int i = 0; i < K; ++i) {
    double product = root_distance(dk.data(), i, roots[i]);
    for (int j = 0; j < K; ++j)
      if (j != i) product *= root_distance(dk.data(), i, roots[j]) / (dk[i] - dk[j]);
    zhat[i] = std::copysign(std::sqrt(std::max(-product, 0.0)), wk[i]);
  }

  // Final order: roots and deflated values, both ascending, merged.
  const int vectors = p.vectors;
  std::vector<double> merged(N);
  std::vector<int> source(N);  // >= 0: root number; < 0: -1 - position in the deflated list
  for (int a = 0, b = 0, m = 0; m < N; ++m) {
    const double root = a < K ? dk[roots[a].origin] + roots[a].tau : 0.0;
    if (b >= int(def.deflated.size()) || (a < K && root <= D[def.deflated[b]])) {
      merged[m] = root;
      source[m] = a++;
    } else {
      merged[m] = D[def.deflated[b]];
      source[m] = -1 - b++;
    }
  }
  int roots_needed = 0;
  for (int m = 0; m < vectors; ++m)
    if (source[m] >= 0) ++roots_needed;

  // Columns of q in the order: kept top-only, kept in both halves, kept bottom-only, deflated.
  // The rows of the rank-one eigenvectors follow the same order.
  std::vector<int> from, row_of(K);
  from.reserve(N);
  int count[3] = {0, 0, 0};
  for (column_kind kind : {top_only, both, bottom_only})
    for (int i = 0; i < K; ++i)
      if (def.kind[def.kept[i]] == kind) {
        row_of[i] = int(from.size());
        from.push_back(def.kept[i]);
        ++count[kind];
      }
  for (int column : def.deflated) from.push_back(column);
  permute_columns(p.q, p.ld, N, from);

  // The eigenvectors of D + rho z z^T for the roots needed: (z-hat_i / (d_i - lambda_j))_i,
  // normalised.
  double* U = p.scratch;
#pragma omp parallel for schedule(static) if (K >= threaded_from)
  for (int j = 0; j < roots_needed; ++j) {
    double* u = U + std::size_t(j) * K;
    double norm = 0;
    for (int i = 0; i < K; ++i) {
      const double x = zhat[i] / root_distance(dk.data(), i, roots[j]);
      u[row_of[i]] = x;
      norm += x * x;
    }
    const double scale = 1.0 / std::sqrt(norm);
    for (int i = 0; i < K; ++i) u[i] *= scale;
  }
  // Their vectors in the basis of the halves, the top rows from the columns that reach them,
  // then the bottom rows; written to the first columns of out.
  const int reach_top = count[top_only] + count[both], first_bottom = count[top_only];
  packed_product(n1, roots_needed, reach_top, {p.q, int(p.ld), false}, {U, K, false}, nullptr, p.out, int(p.ldo), false);
  packed_product(N - n1, roots_needed, K - first_bottom, {p.q + n1 + first_bottom * p.ld, int(p.ld), false},
                 {U + first_bottom, K, false}, nullptr, p.out + n1, int(p.ldo), false);
  // Spread into the final order from the last column down, so that no root's column is
  // overwritten before it has moved.
  for (int m = vectors - 1; m >= 0; --m) {
    double* target = p.out + m * p.ldo;
    const double* column = source[m] >= 0 ? p.out + source[m] * p.ldo : p.q + (K + (-1 - source[m])) * p.ld;
    if (column != target) std::memcpy(target, column, sizeof(double) * N);
  }
  std::copy(merged.begin(), merged.end(), D);
}

}  // namespace tbrelax::dc_detail
