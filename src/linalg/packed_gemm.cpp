#include "linalg/packed_gemm.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#ifdef _OPENMP
#include <omp.h>
#endif

#include "linalg/gemm_kernel.hpp"

namespace tbrelax {
namespace {

using gemm::MR;
using gemm::NR;

// Cache blocks: a KC x NR sliver of B stays in L1 while it meets every MR sliver of the MC x KC
// block of A, which stays in L2; the KC x NC panel of B is read from L3.
constexpr int KC = 256;
constexpr int MC = 192;
constexpr int NC = 3072;
static_assert(MC % MR == 0 && NC % NR == 0);

// Below this many multiply-adds a product stays on one thread.
constexpr double threaded_from = 1 << 20;

int slivers(int count, int width) { return (count + width - 1) / width; }

// Rows i0..i0+rows of op(A), steps pc..pc+kc, as one MR sliver, zero-padded.
void pack_a(const gemm_operand& A, int pc, int kc, int i0, int rows, double* dst) {
  if (!A.transposed) {
    for (int k = 0; k < kc; ++k) {
      const double* src = A.data + i0 + static_cast<std::size_t>(pc + k) * A.ld;
      for (int r = 0; r < MR; ++r) dst[k * MR + r] = r < rows ? src[r] : 0.0;
    }
    return;
  }
  for (int r = 0; r < MR; ++r) {
    if (r >= rows) {
      for (int k = 0; k < kc; ++k) dst[k * MR + r] = 0.0;
      continue;
    }
    const double* src = A.data + pc + static_cast<std::size_t>(i0 + r) * A.ld;
    for (int k = 0; k < kc; ++k) dst[k * MR + r] = src[k];
  }
}

// Columns j0..j0+cols of diag(w) op(B), steps pc..pc+kc, as one NR sliver, zero-padded.
void pack_b(const gemm_operand& B, const double* w, int pc, int kc, int j0, int cols, double* dst) {
  if (B.transposed) {
    for (int k = 0; k < kc; ++k) {
      const double* src = B.data + j0 + static_cast<std::size_t>(pc + k) * B.ld;
      const double scale = w ? w[pc + k] : 1.0;
      for (int c = 0; c < NR; ++c) dst[k * NR + c] = c < cols ? (w ? scale * src[c] : src[c]) : 0.0;
    }
    return;
  }
  for (int c = 0; c < NR; ++c) {
    if (c >= cols) {
      for (int k = 0; k < kc; ++k) dst[k * NR + c] = 0.0;
      continue;
    }
    const double* src = B.data + pc + static_cast<std::size_t>(j0 + c) * B.ld;
    for (int k = 0; k < kc; ++k) dst[k * NR + c] = w ? w[pc + k] * src[k] : src[k];
  }
}

// The first block of the inner dimension sets the tile; the later ones add to it. When
// subtracting, every block is taken off C.
void store_tile(const double* tile, int rows, int cols, double* C, int ldc, bool first, product_result result) {
  for (int j = 0; j < cols; ++j) {
    double* c = C + static_cast<std::size_t>(j) * ldc;
    const double* t = tile + j * MR;
    if (result == product_result::subtract)
      for (int i = 0; i < rows; ++i) c[i] -= t[i];
    else if (first)
      for (int i = 0; i < rows; ++i) c[i] = t[i];
    else
      for (int i = 0; i < rows; ++i) c[i] += t[i];
  }
}

// The columns [j_begin, j_end) of C on the calling thread, with its own packing buffers.
void product_columns(int m, int j_begin, int j_end, int k, const gemm_operand& A, const gemm_operand& B,
                     const double* weights, double* C, int ldc, bool upper_only, product_result result) {
  const int kc_max = std::min(KC, k), mc_max = std::min(MC, slivers(m, MR) * MR);
  const int nc_max = std::min(NC, slivers(j_end - j_begin, NR) * NR);
  // The packing buffers of this thread, kept from call to call: a fresh allocation would be
  // zeroed and faulted in every time, which costs as much as a small product.
  thread_local std::vector<double> b_storage, a_storage;
  const std::size_t b_size = static_cast<std::size_t>(kc_max) * nc_max, a_size = static_cast<std::size_t>(kc_max) * mc_max;
  if (b_storage.size() < b_size) b_storage.resize(b_size);
  if (a_storage.size() < a_size) a_storage.resize(a_size);
  double* const b_panel = b_storage.data();
  double* const a_block = a_storage.data();
  alignas(64) double tile[MR * NR];
  for (int jc = j_begin; jc < j_end; jc += NC) {
    const int nc = std::min(NC, j_end - jc), b_slivers = slivers(nc, NR);
    for (int pc = 0; pc < k; pc += KC) {
      const int kc = std::min(KC, k - pc);
      for (int s = 0; s < b_slivers; ++s)
        pack_b(B, weights, pc, kc, jc + s * NR, std::min(NR, nc - s * NR), b_panel + static_cast<std::size_t>(s) * NR * kc);
      for (int ic = 0; ic < m; ic += MC) {
        // In the upper triangle, no column of this panel reaches rows from ic on.
        if (upper_only && ic >= jc + nc) break;
        const int mc = std::min(MC, m - ic), a_slivers = slivers(mc, MR);
        for (int r = 0; r < a_slivers; ++r)
          pack_a(A, pc, kc, ic + r * MR, std::min(MR, mc - r * MR), a_block + static_cast<std::size_t>(r) * MR * kc);
        for (int s = 0; s < b_slivers; ++s) {
          const int j0 = jc + s * NR, cols = std::min(NR, nc - s * NR);
          for (int r = 0; r < a_slivers; ++r) {
            const int i0 = ic + r * MR;
            if (upper_only && i0 > j0 + cols - 1) break;
            gemm::micro_kernel(kc, a_block + static_cast<std::size_t>(r) * MR * kc,
                               b_panel + static_cast<std::size_t>(s) * NR * kc, tile);
            store_tile(tile, std::min(MR, m - i0), cols, C + i0 + static_cast<std::size_t>(j0) * ldc, ldc, pc == 0,
                       result);
          }
        }
      }
    }
  }
}

// First column of thread t's share of n columns, in whole slivers. Over the upper triangle the
// work up to column j grows as j^2, so the shares end at n sqrt(t / threads).
int share_begin(int t, int threads, int n, bool upper_only) {
  if (t >= threads) return n;
  const double fraction = static_cast<double>(t) / threads;
  const double j = n * (upper_only ? std::sqrt(fraction) : fraction);
  return std::min(n, static_cast<int>(std::lround(j / NR)) * NR);
}

}  // namespace

void packed_product(int m, int n, int k, gemm_operand A, gemm_operand B, const double* weights, double* C, int ldc,
                    bool upper_only, product_result result) {
  if (m <= 0 || n <= 0) return;
  if (k <= 0) {
    if (result == product_result::subtract) return;
    for (int j = 0; j < n; ++j) std::fill_n(C + static_cast<std::size_t>(j) * ldc, m, 0.0);
    return;
  }
  // Each thread takes a band of columns and runs the whole blocked product on it: no thread
  // waits for another until the end, which keeps the speed when the cores are shared.
#pragma omp parallel if (static_cast<double>(m) * n * k > threaded_from)
  {
    int t = 0, threads = 1;
#ifdef _OPENMP
    t = omp_get_thread_num();
    threads = omp_get_num_threads();
#endif
    const int begin = share_begin(t, threads, n, upper_only), end = share_begin(t + 1, threads, n, upper_only);
    if (begin < end) product_columns(m, begin, end, k, A, B, weights, C, ldc, upper_only, result);
  }
}

}  // namespace tbrelax
