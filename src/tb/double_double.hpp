#pragma once
// Double-double arithmetic: a value carried as the unevaluated sum hi + lo of two doubles with
// |lo| of the order of ulp(hi), about 106 significant bits (~32 digits). Used where a difference of two
// nearly equal terms must still come out correct to the last bit of a double.
//
// Built on error-free transformations: a + b and a * b are each rewritten exactly as a rounded
// result plus its rounding error. Everything is constexpr so that constants (tables, roots)
// can be computed at compile time with the same code; the compile-time evaluator rounds every
// operation separately, which is what the transformations need.

#include <cmath>
#include <type_traits>

namespace tbrelax {

struct double_double {
  double hi = 0.0;
  double lo = 0.0;
};

// a + b = s + e exactly, for any a, b (Knuth).
constexpr double_double two_sum(double a, double b) {
  const double s = a + b;
  const double bb = s - a;
  return {s, (a - (s - bb)) + (b - bb)};
}

// a + b = s + e exactly, provided |a| >= |b| or a == 0.
constexpr double_double fast_two_sum(double a, double b) {
  const double s = a + b;
  return {s, b - (s - a)};
}

// a * b = p + e exactly. One fused multiply-add where the hardware has it; otherwise (and at
// compile time) Dekker's split of each factor into two 26-bit halves whose products are exact.
// Without hardware FMA the compiler cannot contract the split, so it stays exact.
constexpr double_double two_prod(double a, double b) {
  const double p = a * b;
#if defined(__FP_FAST_FMA)
  if (!std::is_constant_evaluated()) return {p, std::fma(a, b, -p)};
#endif
  constexpr double splitter = 134217729.0;  // 2^27 + 1
  const double ca = splitter * a, cb = splitter * b;
  const double ah = ca - (ca - a), al = a - ah;
  const double bh = cb - (cb - b), bl = b - bh;
  return {p, ((ah * bh - p) + ah * bl + al * bh) + al * bl};
}

constexpr double_double operator-(double_double a) { return {-a.hi, -a.lo}; }

// The operations below are compensated rather than renormalised: hi is the plain double result
// of the same operation on the high parts, and lo gathers its exact rounding error plus the
// first-order propagation of the operands' low parts. That keeps hi + lo correct to ~1e-32
// relative (the dropped products of two low parts are that small) as long as no operand has
// suffered a cancellation of its own, while the high parts follow a plain-double critical path:
// about half the latency of a renormalising double-double. normalized() restores |lo| <= ulp/2.

constexpr double_double operator+(double_double a, double_double b) {
  const double_double s = two_sum(a.hi, b.hi);
  return {s.hi, s.lo + (a.lo + b.lo)};
}

constexpr double_double operator+(double_double a, double b) {
  const double_double s = two_sum(a.hi, b);
  return {s.hi, s.lo + a.lo};
}

constexpr double_double operator+(double a, double_double b) { return b + a; }
constexpr double_double operator-(double_double a, double_double b) { return a + (-b); }
constexpr double_double operator-(double_double a, double b) { return a + (-b); }
constexpr double_double operator-(double a, double_double b) { return (-b) + a; }

constexpr double_double operator*(double_double a, double_double b) {
  const double_double p = two_prod(a.hi, b.hi);
  return {p.hi, p.lo + (a.hi * b.lo + a.lo * b.hi)};
}

constexpr double_double operator*(double_double a, double b) {
  const double_double p = two_prod(a.hi, b);
  return {p.hi, p.lo + a.lo * b};
}

constexpr double_double operator*(double a, double_double b) { return b * a; }

// Quotient q = a.hi / b.hi, corrected by the exact remainder a.hi - q b.hi and the low parts.
constexpr double_double operator/(double_double a, double_double b) {
  const double q = a.hi / b.hi;
  const double_double qb = two_prod(q, b.hi);
  return {q, (((a.hi - qb.hi) - qb.lo) + (a.lo - q * b.lo)) / b.hi};
}

constexpr double_double operator/(double_double a, double b) { return a / double_double{b, 0.0}; }

constexpr double_double normalized(double_double a) { return two_sum(a.hi, a.lo); }

// The nearest double, to within a small fraction of an ulp.
constexpr double to_double(double_double a) { return a.hi + a.lo; }

}  // namespace tbrelax
