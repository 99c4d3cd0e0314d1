#pragma once
// The register micro-kernel of the packed products: an MR x NR tile of the result held in
// vector registers while a packed sliver of A (MR rows) and one of B (NR columns) stream through
// it, one multiply-add per element and step of the inner dimension, in increasing order.
//
// Packed layouts: a[k * MR + i] is row i of the A sliver at step k, b[k * NR + j] column j of
// the B sliver. The tile is written column by column with leading dimension MR.
//
// The build forbids the compiler to fuse multiplies and adds on its own, so the kernel asks for
// fused multiply-adds explicitly where the processor has them: AVX-512 or AVX2 intrinsics, else
// std::fma under __FP_FAST_FMA, else a multiply and an add.

#include <cmath>

#if defined(__AVX512F__) || (defined(__AVX2__) && defined(__FMA__))
#include <immintrin.h>
#endif

namespace tbrelax::gemm {

#if defined(__AVX512F__)

// 2 x 12 accumulators of 8 doubles: 24 of the 32 vector registers.
inline constexpr int MR = 16;
inline constexpr int NR = 12;

inline void micro_kernel(int kc, const double* a, const double* b, double* tile) {
  __m512d acc[NR][2];
  for (int j = 0; j < NR; ++j) acc[j][0] = acc[j][1] = _mm512_setzero_pd();
  for (int k = 0; k < kc; ++k, a += MR, b += NR) {
    const __m512d a0 = _mm512_loadu_pd(a), a1 = _mm512_loadu_pd(a + 8);
    for (int j = 0; j < NR; ++j) {
      const __m512d bj = _mm512_set1_pd(b[j]);
      acc[j][0] = _mm512_fmadd_pd(a0, bj, acc[j][0]);
      acc[j][1] = _mm512_fmadd_pd(a1, bj, acc[j][1]);
    }
  }
  for (int j = 0; j < NR; ++j) {
    _mm512_storeu_pd(tile + j * MR, acc[j][0]);
    _mm512_storeu_pd(tile + j * MR + 8, acc[j][1]);
  }
}

#elif defined(__AVX2__) && defined(__FMA__)

// 2 x 6 accumulators of 4 doubles: 12 of the 16 vector registers.
inline constexpr int MR = 8;
inline constexpr int NR = 6;

inline void micro_kernel(int kc, const double* a, const double* b, double* tile) {
  __m256d acc[NR][2];
  for (int j = 0; j < NR; ++j) acc[j][0] = acc[j][1] = _mm256_setzero_pd();
  for (int k = 0; k < kc; ++k, a += MR, b += NR) {
    const __m256d a0 = _mm256_loadu_pd(a), a1 = _mm256_loadu_pd(a + 4);
    for (int j = 0; j < NR; ++j) {
      const __m256d bj = _mm256_broadcast_sd(b + j);
      acc[j][0] = _mm256_fmadd_pd(a0, bj, acc[j][0]);
      acc[j][1] = _mm256_fmadd_pd(a1, bj, acc[j][1]);
    }
  }
  for (int j = 0; j < NR; ++j) {
    _mm256_storeu_pd(tile + j * MR, acc[j][0]);
    _mm256_storeu_pd(tile + j * MR + 4, acc[j][1]);
  }
}

#else

// Portable: small enough for the compiler to keep in registers.
inline constexpr int MR = 4;
inline constexpr int NR = 4;

inline void micro_kernel(int kc, const double* a, const double* b, double* tile) {
  double acc[NR][MR] = {};
  for (int k = 0; k < kc; ++k, a += MR, b += NR)
    for (int j = 0; j < NR; ++j)
      for (int i = 0; i < MR; ++i) {
#ifdef __FP_FAST_FMA
        acc[j][i] = std::fma(a[i], b[j], acc[j][i]);
#else
        acc[j][i] = a[i] * b[j] + acc[j][i];
#endif
      }
  for (int j = 0; j < NR; ++j)
    for (int i = 0; i < MR; ++i) tile[j * MR + i] = acc[j][i];
}

#endif

}  // namespace tbrelax::gemm
