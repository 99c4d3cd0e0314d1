// The divide-and-conquer driver: the tree of blocks, the small blocks by QL, the merges level
// by level.

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "linalg/dc_detail.hpp"
#include "linalg/eigensolver.hpp"
#include "linalg/tridiagonal_eigen.hpp"

namespace tbrelax {
namespace {

// Blocks of at most this order are solved by the QL iteration with vectors.
constexpr int leaf_order = 32;
// Order from which blocks and merges are shared among threads.
constexpr int threaded_from = 512;

struct node {
  int lo, mid, hi;  // rows [lo, mid) and [mid, hi); mid = hi for a leaf
  int height;       // 0 for a leaf
};

// The blocks of rows [lo, hi), halved until they are leaves, children before parents.
int build_tree(int lo, int hi, std::vector<node>& nodes) {
  if (hi - lo <= leaf_order) {
    nodes.push_back({lo, hi, hi, 0});
    return 0;
  }
  const int mid = lo + (hi - lo) / 2;
  const int height = 1 + std::max(build_tree(lo, mid, nodes), build_tree(mid, hi, nodes));
  nodes.push_back({lo, mid, hi, height});
  return height;
}

// Eigenvalues (ascending, in d) and vectors (the identity's rotation, in q) of one block.
bool solve_leaf(int lo, int hi, double* d, const double* e, double* q, std::size_t ld) {
  const int m = hi - lo;
  double* v = q + lo + lo * ld;
  for (int j = 0; j < m; ++j) v[j + j * ld] = 1.0;
  double sub[leaf_order];  // the QL convention: sub[i] couples rows i - 1 and i
  sub[0] = 0.0;
  for (int i = 1; i < m; ++i) sub[i] = e[lo + i - 1];
  int ierr = 0;
  tql2(int(ld), m, d + lo, sub, v, ierr);
  return ierr == 0;
}

}  // namespace

bool tridiagonal_eigen(int n, const double* d_in, const double* e_in, int vectors, double* values, double* Z, int ldz,
                       tridiagonal_workspace& w) {
  if (n <= 0) return true;
  const std::size_t ld = std::size_t(n);
  // Scaled by a power of two (exactly) to a largest element near 1, as the tolerances assume.
  double largest = 0.0;
  for (int i = 0; i < n; ++i) largest = std::max(largest, std::abs(d_in[i]));
  for (int i = 0; i + 1 < n; ++i) largest = std::max(largest, std::abs(e_in[i]));
  int exponent = 0;
  if (largest > 0 && std::isfinite(largest)) std::frexp(largest, &exponent);
  w.values.assign(d_in, d_in + n);
  w.off.assign(e_in, e_in + (n - 1));
  double* d = w.values.data();
  double* e = w.off.data();
  for (double& x : w.values) x = std::ldexp(x, -exponent);
  for (double& x : w.off) x = std::ldexp(x, -exponent);

  std::vector<node> nodes;
  const int height = build_tree(0, n, nodes);
  // Each cut takes |beta| off the two diagonal elements beside it; the merge adds it back as
  // the rank-one update.
  for (const node& b : nodes)
    if (b.height > 0) {
      d[b.mid - 1] -= std::abs(e[b.mid - 1]);
      d[b.mid] -= std::abs(e[b.mid - 1]);
    }

  w.q.assign(ld * ld, 0.0);
  double* q = w.q.data();
  const int leaves = int(std::count_if(nodes.begin(), nodes.end(), [](const node& b) { return b.height == 0; }));
  std::vector<const node*> leaf_nodes;
  for (const node& b : nodes)
    if (b.height == 0) leaf_nodes.push_back(&b);
  bool converged = true;
#pragma omp parallel for schedule(dynamic) reduction(&& : converged) if (n >= threaded_from)
  for (int i = 0; i < leaves; ++i) converged = solve_leaf(leaf_nodes[i]->lo, leaf_nodes[i]->hi, d, e, q, ld) && converged;
  if (!converged) return false;

  // A merge of N rows needs 2 N^2 doubles of scratch (the rank-one vectors and the merged
  // block); the top one writes into Z and needs N x vectors. The merges of a level whose blocks
  // are at most n / 4 run side by side, each in scratch at 2 N_level lo.
  std::size_t scratch = std::size_t(n) * std::size_t(std::max(vectors, 1));
  for (const node& b : nodes)
    if (b.height > 0 && b.height < height) {
      const std::size_t N = std::size_t(b.hi - b.lo);
      scratch = std::max(scratch, 4 * N <= ld ? 2 * N * ld : 2 * N * N);
    }
  if (w.scratch.size() < scratch) w.scratch.assign(scratch, 0.0);

  for (int level = 1; level <= height; ++level) {
    std::vector<const node*> merges;
    std::size_t widest = 0;
    for (const node& b : nodes)
      if (b.height == level) {
        merges.push_back(&b);
        widest = std::max(widest, std::size_t(b.hi - b.lo));
      }
    const bool side_by_side = level < height && 4 * widest <= ld;
    const int count = int(merges.size());
#pragma omp parallel for schedule(dynamic) if (side_by_side && count > 1 && n >= threaded_from)
    for (int m = 0; m < count; ++m) {
      const node& b = *merges[m];
      const int N = b.hi - b.lo;
      double* block = q + b.lo + b.lo * ld;
      double* work = w.scratch.data() + (side_by_side ? 2 * widest * std::size_t(b.lo) : 0);
      if (level == height) {
        dc_detail::merge({b.mid - b.lo, b.hi - b.mid, block, ld, d + b.lo, e[b.mid - 1], vectors, Z, std::size_t(ldz), work});
        continue;
      }
      double* merged = work + std::size_t(N) * std::size_t(N);
      dc_detail::merge({b.mid - b.lo, b.hi - b.mid, block, ld, d + b.lo, e[b.mid - 1], N, merged, std::size_t(N), work});
      for (int j = 0; j < N; ++j) std::copy(merged + std::size_t(j) * N, merged + std::size_t(j + 1) * N, block + j * ld);
    }
  }
  if (height == 0)  // a single block
    for (int j = 0; j < vectors; ++j) std::copy(q + j * ld, q + j * ld + n, Z + std::size_t(j) * ldz);
  for (int i = 0; i < n; ++i) values[i] = std::ldexp(d[i], exponent);
  return true;
}

}  // namespace tbrelax
