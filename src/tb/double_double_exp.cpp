#include "tb/double_double_exp.hpp"

#include <array>
#include <bit>
#include <cstdint>

namespace tbrelax {
namespace {

// ln 2 as a double-double (the rest lies below 1e-33).
constexpr double_double ln2 = {0x1.62e42fefa39efp-1, 0x1.abc9e3b39803fp-56};

// e^y by its Taylor series, for |y| <= ln 2 at compile time; 40 terms put the truncation
// below 1e-40.
constexpr double_double exp_series(double_double y) {
  double_double sum{1.0, 0.0}, term{1.0, 0.0};
  for (int n = 1; n <= 40; ++n) {
    term = term * y / double(n);
    sum = sum + term;
  }
  return normalized(sum);
}

// The argument is reduced to within ln2/8192 of a multiple n of ln2/4096, and 2^(-n/4096) is
// assembled from 2^(-m) and two 64-entry tables: 2^(-j/64) and 2^(-i/4096). So short a
// remainder leaves a cubic in double-double plus three terms in double.
constexpr int table_bits = 6;
constexpr int table_size = 1 << table_bits;
constexpr int reduction_bits = 2 * table_bits;

constexpr std::array<double_double, table_size> power_table(int denominator) {
  std::array<double_double, table_size> t{};
  for (int j = 0; j < table_size; ++j) t[j] = exp_series(ln2 * (-double(j) / denominator));
  return t;
}
constexpr auto coarse_table = power_table(table_size);             // 2^(-j/64)
constexpr auto fine_table = power_table(table_size * table_size);  // 2^(-i/4096)

constexpr double_double sixth = normalized(double_double{1.0, 0.0} / 6.0);

}  // namespace

double_double exp_neg(double_double x) {
  if (!(std::fabs(x.hi) <= 700.0)) {
    if (x.hi > 0) return {0.0, 0.0};
    return {-x.hi * HUGE_VAL, 0.0};  // +inf for x < -700, NaN for NaN
  }
  // x = n ln2/4096 + r, |r| <= ln2/8192 (to rounding). x.hi and n times the high part of the
  // step lie within a factor 2 of each other, so their difference is exact.
  constexpr double steps_per_ln2 = 1 << reduction_bits;
  const double_double step = {ln2.hi / steps_per_ln2, ln2.lo / steps_per_ln2};  // exact scalings
  const double n = std::nearbyint(x.hi * (steps_per_ln2 / ln2.hi));
  const double_double nstep = two_prod(n, step.hi);
  const double_double r = two_sum(x.hi - nstep.hi, (x.lo - nstep.lo) - n * step.lo);

  // e^y at the double y = -r.hi, |y| < 8.5e-5: y^4/4! (< 3e-18) and beyond in double, the cubic
  // compensated; then the factor e^(-r.lo) = 1 - r.lo to first order (r.lo^2 < 1e-40).
  const double y = -r.hi;
  double_double c = sixth + y * (1.0 / 24 + y * (1.0 / 120 + y * (1.0 / 720)));
  c = 0.5 + c * y;
  c = 1.0 + c * y;
  c = 1.0 + c * y;
  c.lo -= c.hi * r.lo;

  // 2^(-n/4096) = 2^(-m) 2^(-j/64) 2^(-i/4096); 2^(-m) goes exactly into the exponent field
  // (|m| <= 1011 keeps it a normal double).
  const auto ni = static_cast<std::int64_t>(n);
  const std::int64_t m = ni >> reduction_bits;  // floor, also for negative n
  const auto j = static_cast<int>((ni >> table_bits) & (table_size - 1));
  const auto i = static_cast<int>(ni & (table_size - 1));
  const double scale = std::bit_cast<double>(static_cast<std::uint64_t>(1023 - m) << 52);
  const double_double e = (coarse_table[j] * fine_table[i]) * c;
  return {e.hi * scale, e.lo * scale};
}

}  // namespace tbrelax
