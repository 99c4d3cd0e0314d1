// The overlap integrals: limits outside the range of the quadruple-precision comparison, and
// the per-pair batches reproducing the single routines bit for bit.

#include "tb/overlap_integrals.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "params/read_param.hpp"
#include "tb/overlap_table.hpp"

namespace tbrelax {
namespace {

constexpr int H = 1, C = 2, N = 3, O = 4;

param built_in() {
  param par;
  drive drv;
  common_var c;
  read_param(par, drv, c);
  return par;
}

std::uint64_t bits(double x) { return std::bit_cast<std::uint64_t>(x); }

std::vector<double> some_distances() {
  std::vector<double> R = {0.3, 0.74, 1.09, 1.2, 1.47, 2.0, 3.3, 5.0, 8.0};
  std::mt19937_64 rng(3);
  std::uniform_real_distribution<double> uniform(0.5, 6.0);
  for (int n = 0; n < 40; ++n) R.push_back(uniform(rng));
  return R;
}

// Same-element overlaps tend to 1 (normalisation) as R -> 0.
TEST(OverlapIntegrals, SameElementOverlapsTendToOne) {
  const param par = built_in();
  EXPECT_NEAR(in1s1s(1e-7, par), 1.0, 1e-12);
  for (int i = C; i <= O; ++i)
    for (double s : {in2s2s(1e-7, i, i, par), in2p2pq(1e-7, i, i, par), in2p2ppi(1e-7, i, i, par)})
      EXPECT_NEAR(s, 1.0, 1e-12) << i;
}

// Every integral is exactly 0 (not NaN) once the exponentials are out of range.
TEST(OverlapIntegrals, VanishAtLargeDistance) {
  const param par = built_in();
  for (int a = C; a <= O; ++a) {
    for (int b = C; b <= O; ++b) {
      const heavy_heavy_overlap o = heavy_heavy_overlaps(1000.0, a, b, par);
      EXPECT_EQ(std::fabs(o.ss) + std::fabs(o.sp_ab) + std::fabs(o.sigma) + std::fabs(o.pi), 0.0);
    }
    const hydrogen_heavy_overlap h = hydrogen_heavy_overlaps(1000.0, a, par);
    EXPECT_EQ(std::fabs(h.ss) + std::fabs(h.sp), 0.0);
  }
  EXPECT_EQ(in1s1s(1000.0, par), 0.0);
}

// ---- The per-pair batches. ----

// The built-in set and one with other exponents, to show the table takes them from its set.
std::vector<param> parameter_sets() {
  param other = built_in();
  other.ksi(C, 1) = 3.4;
  other.ksi(N, 2) = 4.9;
  other.ksi(O, 1) = 4.75;  // within 0.2 of the new N p exponent: O-N takes the mean-exponent form
  return {built_in(), other};
}

TEST(OverlapIntegrals, PairBatchesReproduceTheSingleRoutinesBitForBit) {
  for (const param& par : parameter_sets()) {
    const overlap_table table(par);
    for (double R : some_distances()) {
      for (int a = C; a <= O; ++a) {
        for (int b = C; b <= O; ++b) {
          for (const heavy_heavy_overlap& o :
               {heavy_heavy_overlaps(R, a, b, par), heavy_heavy_overlaps(R, a, b, table)}) {
            EXPECT_EQ(bits(o.ss), bits(in2s2s(R, a, b, par)));
            EXPECT_EQ(bits(o.sp_ab), bits(in2s2p(R, a, b, par)));
            EXPECT_EQ(bits(o.sp_ba), bits(in2s2p(R, b, a, par)));
            EXPECT_EQ(bits(o.sigma), bits(in2p2pq(R, a, b, par)));
            EXPECT_EQ(bits(o.pi), bits(in2p2ppi(R, a, b, par)));
          }
        }
        for (const hydrogen_heavy_overlap& o :
             {hydrogen_heavy_overlaps(R, a, par), hydrogen_heavy_overlaps(R, a, table)}) {
          EXPECT_EQ(bits(o.ss), bits(in1s2s(R, a, par)));
          EXPECT_EQ(bits(o.sp), bits(in1s2p(R, a, par)));
        }
      }
    }
  }
}

}  // namespace
}  // namespace tbrelax
