// The overlap integrals against the closed forms evaluated exactly as they read in quadruple
// precision from the same double inputs, over 0.5..6 angstrom, for every element pair each
// form serves.

#include <gtest/gtest.h>
#include <quadmath.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "params/read_param.hpp"
#include "tb/double_double_exp.hpp"
#include "tb/overlap_integrals.hpp"

namespace tbrelax {
namespace {

using quad = __float128;

constexpr int H = 1, C = 2, N = 3, O = 4;
const char* const element_name[] = {"", "H", "C", "N", "O"};

// ---- The closed forms, as written, in quadruple precision. ----

struct reduced {
  quad A, B, p, t, k;
  reduced(double za, double zb, double R) {
    const quad a = za, b = zb, r = R;
    A = a * r;
    B = b * r;
    p = (a + b) / 2 * r;
    t = (a - b) / (a + b);
    k = (t + 1 / t) / 2;
  }
};

quad q1s1s(double z, double R) {
  const quad r = quad(z) * R;
  return expq(-r) * (1 + r + r * r / 3);
}
quad q1s2s(double za, double zb, double R) {
  const auto [A, B, p, t, k] = reduced(za, zb, R);
  return (expq(-B) * (1 + k) * (2 * (1 - k) * (2 - 3 * k) + 4 * (1 - k) * B + B * B) -
          expq(-A) * (1 - k) * (2 * (1 + k) * (2 - 3 * k) + (1 - 2 * k) * A)) *
         sqrtq(1 - t * t) / (sqrtq(3) * t * p);
}
quad q1s2p(double za, double zb, double R) {
  const auto [A, B, p, t, k] = reduced(za, zb, R);
  return -(expq(-B) * (1 + k) * (6 * (1 - k) * (1 - k) * (1 + B) + 4 * (1 - k) * B * B + B * B * B) -
           expq(-A) * (1 - k) * (1 - k) * (6 * (1 + k) * (1 + A) + 2 * A * A)) *
         sqrtq((1 + t) / (1 - t)) / (t * p * p);
}
quad q2s2s_equal(double z, double R) {
  const quad p = quad(z) * R;
  return expq(-p) * (1 + p + 4 * p * p / 9 + p * p * p / 9 + p * p * p * p / 45);
}
quad q2s2s(double za, double zb, double R) {
  const auto [A, B, p, t, k] = reduced(za, zb, R);
  return (expq(-B) * (1 + k) * (2 * (1 - k) * (7 - 12 * k * k) + 4 * (1 - k) * (2 + 3 * k) * B + (1 + 2 * k) * B * B) -
          expq(-A) * (1 - k) * (2 * (1 + k) * (7 - 12 * k * k) + 4 * (1 + k) * (2 - 3 * k) * A + (1 - 2 * k) * A * A)) *
         sqrtq(1 - t * t) / (3 * t * p);
}
quad q2s2p_mean(double za, double zb, double R) {
  const quad p = (quad(za) + quad(zb)) / 2 * R;
  return -expq(-p) * (1 + p + 7 * p * p / 15 + 2 * p * p * p / 15) * p / sqrtq(12);
}
quad q2s2p(double za, double zb, double R) {
  const auto [A, B, p, t, k] = reduced(za, zb, R);
  return -(expq(-B) * (1 + k) *
               (6 * (1 - k) * (1 - k) * (3 + 4 * k) * (1 + B) + 4 * (1 - k) * (2 + 3 * k) * B * B +
                (1 + 2 * k) * B * B * B) -
           expq(-A) * (1 - k) * (1 - k) *
               (6 * (1 + k) * (3 + 4 * k) * (1 + A) + 2 * (5 + 6 * k) * A * A + 2 * A * A * A)) *
         sqrtq((1 + t) / (1 - t)) / (sqrtq(3) * t * p * p);
}
quad q2p2pq_equal(double z, double R) {
  const quad p = quad(z) * R;
  return expq(-p) * (1 + p + p * p / 5 - 2 * p * p * p / 15 - p * p * p * p / 15);
}
quad q2p2pq(double za, double zb, double R) {
  const auto [A, B, p, t, k] = reduced(za, zb, R);
  return -(expq(-B) * (1 + k) * (1 + k) *
               (48 * (1 - k) * (1 - k) * (1 + B + B * B / 2) + 2 * (5 - 6 * k) * B * B * B + 2 * B * B * B * B) -
           expq(-A) * (1 - k) * (1 - k) *
               (48 * (1 + k) * (1 + k) * (1 + A + A * A / 2) + 2 * (5 + 6 * k) * A * A * A + 2 * A * A * A * A)) /
         (t * sqrtq(1 - t * t) * p * p * p);
}
quad q2p2ppi_equal(double z, double R) {
  const quad p = quad(z) * R;
  return expq(-p) * (1 + p + 2 * p * p / 5 + p * p * p / 15);
}
quad q2p2ppi(double za, double zb, double R) {
  const auto [A, B, p, t, k] = reduced(za, zb, R);
  return (expq(-B) * (1 + k) * (1 + k) * (24 * (1 - k) * (1 - k) * (1 + B) + 12 * (1 - k) * B * B + 2 * B * B * B) -
          expq(-A) * (1 - k) * (1 - k) * (24 * (1 + k) * (1 + k) * (1 + A) + 12 * (1 + k) * A * A + 2 * A * A * A)) /
         (t * sqrtq(1 - t * t) * p * p * p);
}

// ---- The comparison. ----

enum class integral { s1s1, s1s2, s1p2, s2s2, s2p2, sigma, pi };

struct pair_case {
  integral f;
  int i, j;  // elements on A and B
  std::string name() const {
    const char* names[] = {"in1s1s", "in1s2s", "in1s2p", "in2s2s", "in2s2p", "in2p2pq", "in2p2ppi"};
    return std::string(names[int(f)]) + " " + element_name[i] + element_name[j];
  }
};

// Every integral for every element pair it serves.
std::vector<pair_case> all_cases() {
  std::vector<pair_case> all = {{integral::s1s1, H, H}};
  for (int j = C; j <= O; ++j) all.insert(all.end(), {{integral::s1s2, H, j}, {integral::s1p2, H, j}});
  for (integral f : {integral::s2s2, integral::s2p2, integral::sigma, integral::pi})
    for (int i = C; i <= O; ++i)
      for (int j = C; j <= O; ++j) all.push_back({f, i, j});
  return all;
}

double value(const pair_case& c, double R, const param& par) {
  switch (c.f) {
    case integral::s1s1: return in1s1s(R, par);
    case integral::s1s2: return in1s2s(R, c.j, par);
    case integral::s1p2: return in1s2p(R, c.j, par);
    case integral::s2s2: return in2s2s(R, c.i, c.j, par);
    case integral::s2p2: return in2s2p(R, c.i, c.j, par);
    case integral::sigma: return in2p2pq(R, c.i, c.j, par);
    case integral::pi: return in2p2ppi(R, c.i, c.j, par);
  }
  return NAN;
}

struct exponents {
  double za, zb;
  bool equal_form;  // same element, or 2s-2p closer than 0.2
};

exponents exponents_of(const pair_case& c, const param& par) {
  const bool s_a = c.f != integral::sigma && c.f != integral::pi;
  const bool s_b = c.f == integral::s1s1 || c.f == integral::s1s2 || c.f == integral::s2s2;
  const double za = par.ksi(c.i, s_a ? 1 : 2), zb = par.ksi(c.j, s_b ? 1 : 2);
  return {za, zb, c.f == integral::s2p2 ? std::fabs(za - zb) < 0.2 : c.i == c.j};
}

quad reference(const pair_case& c, double R, const param& par) {
  const auto [za, zb, equal] = exponents_of(c, par);
  switch (c.f) {
    case integral::s1s1: return q1s1s(za, R);
    case integral::s1s2: return q1s2s(za, zb, R);
    case integral::s1p2: return q1s2p(za, zb, R);
    case integral::s2s2: return equal ? q2s2s_equal(za, R) : q2s2s(za, zb, R);
    case integral::s2p2: return equal ? q2s2p_mean(za, zb, R) : q2s2p(za, zb, R);
    case integral::sigma: return equal ? q2p2pq_equal(za, R) : q2p2pq(za, zb, R);
    case integral::pi: return equal ? q2p2ppi_equal(za, R) : q2p2ppi(za, zb, R);
  }
  return NAN;
}

// 0.5..6 angstrom in steps of 0.01, and random distances in between.
std::vector<double> distances() {
  std::vector<double> R;
  for (int n = 0; n <= 550; ++n) R.push_back(0.5 + 0.01 * n);
  std::mt19937_64 rng(20240611);
  std::uniform_real_distribution<double> uniform(0.5, 6.0);
  for (int n = 0; n < 300; ++n) R.push_back(uniform(rng));
  return R;
}

struct OverlapPrecision : ::testing::Test {
  param par;
  OverlapPrecision() {
    drive drv;
    common_var c;
    read_param(par, drv, c);
  }
  // Largest relative error over the distances, for the cases of one kind of closed form.
  void check(bool equal_forms, const std::vector<double>& R, double tolerance, std::size_t expected_cases) {
    std::size_t cases = 0;
    for (const pair_case& c : all_cases()) {
      if (exponents_of(c, par).equal_form != equal_forms) continue;
      ++cases;
      double worst = 0, at = 0;
      for (double r : R) {
        const quad ref = reference(c, r, par);
        const double err = double(fabsq((quad(value(c, r, par)) - ref) / ref));
        if (!(err <= worst)) worst = err, at = r;  // also catches NaN
      }
      EXPECT_LT(worst, tolerance) << c.name() << " at R = " << at;
    }
    EXPECT_EQ(cases, expected_cases);
  }
};

// The unequal-exponent forms cancel by up to eight digits (more near a zero); the finite-
// difference forces need them correct to the last few bits.
TEST_F(OverlapPrecision, UnequalExponentFormsAgreeWithQuadruplePrecision) { check(false, distances(), 1e-14, 31); }

// H-H, three 2s-2s, three p-sigma, three p-pi, and the 2s-2p pairs closer than 0.2 in exponent:
// N-N and N-O only. Also right beside the zero of the p-sigma ones.
TEST_F(OverlapPrecision, EqualExponentFormsAgreeWithQuadruplePrecision) {
  for (int i = C; i <= O; ++i)
    for (int j = C; j <= O; ++j)
      EXPECT_EQ(exponents_of({integral::s2p2, i, j}, par).equal_form, i == N && (j == N || j == O));
  auto R = distances();
  for (int i = C; i <= O; ++i)
    for (double p : {2.5133, 2.51326797, 2.513267971527}) R.push_back(p / par.ksi(i, 2));
  check(true, R, 2e-15, 12);
}

// The exponentials' own errors are amplified by the same cancellation.
TEST(OverlapExponential, AgreesWithQuadruplePrecision) {
  std::mt19937_64 rng(7);
  std::uniform_real_distribution<double> zeta(1.0, 7.0), R(0.05, 12.0);
  for (int n = 0; n < 20000; ++n) {
    const double_double x = two_prod(zeta(rng), R(rng)), e = exp_neg(x);
    const quad ref = expq(-(quad(x.hi) + quad(x.lo)));
    ASSERT_LT(double(fabsq((quad(e.hi) + quad(e.lo) - ref) / ref)), 1e-29) << x.hi;
  }
}

}  // namespace
}  // namespace tbrelax
