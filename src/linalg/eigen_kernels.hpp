#pragma once
// Short-vector arithmetic shared by the eigensolver sources.
//
// Sums are split over the lanes of explicit vectors and combined in a fixed
// order, so they vectorise without reassociation flags and the result depends
// only on the data. The vector type is a compiler extension (GCC, Clang) sized
// to the widest registers the build targets.

#include <cstddef>
#include <utility>

#if defined(__AVX512F__) || defined(__FMA__)
#include <immintrin.h>
#endif

namespace tbrelax::eigen_detail {

// Doubles per vector register.
#if defined(__AVX512F__)
inline constexpr int width = 8;
#elif defined(__AVX__)
inline constexpr int width = 4;
#else
inline constexpr int width = 2;
#endif
typedef double vec __attribute__((vector_size(width * sizeof(double))));

inline vec load(const double* p) {
  vec v;
  __builtin_memcpy(&v, p, sizeof v);
  return v;
}

inline void store(double* p, vec v) { __builtin_memcpy(p, &v, sizeof v); }

// Every lane x, written as a brace list: the compiler turns that into one
// broadcast, where vec{} + x would add zero first and a lane loop goes through memory.
inline vec splat(double x) {
  return [x]<std::size_t... lane>(std::index_sequence<lane...>) { return vec{((void)lane, x)...}; }(
      std::make_index_sequence<width>{});
}

// a * b + c, rounded once where the processor has fused multiply-adds. Only
// for sums whose rounding may differ between builds; the build never fuses on its own.
inline vec madd(vec a, vec b, vec c) {
#if defined(__AVX512F__)
  return _mm512_fmadd_pd(a, b, c);
#elif defined(__AVX__) && defined(__FMA__)
  return _mm256_fmadd_pd(a, b, c);
#elif defined(__FMA__)
  return _mm_fmadd_pd(a, b, c);
#else
  return a * b + c;
#endif
}

// Sum of the lanes, halving the vector at each stage.
inline double sum(vec v) {
  double s[width];
  for (int i = 0; i < width; ++i) s[i] = v[i];
  for (int half = width / 2; half > 0; half /= 2)
    for (int i = 0; i < half; ++i) s[i] += s[i + half];
  return s[0];
}

// Sum of a[k] * b[k] for k < n.
inline double dot(const double* a, const double* b, int n) {
  vec s0{}, s1{};
  int k = 0;
  for (; k + 2 * width <= n; k += 2 * width) {
    s0 += load(a + k) * load(b + k);
    s1 += load(a + k + width) * load(b + k + width);
  }
  if (k + width <= n) {
    s0 += load(a + k) * load(b + k);
    k += width;
  }
  double r = sum(s0 + s1);
  for (; k < n; ++k) r += a[k] * b[k];
  return r;
}

}  // namespace tbrelax::eigen_detail
