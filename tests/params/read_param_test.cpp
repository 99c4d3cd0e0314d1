#include "params/read_param.hpp"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstdint>

namespace tbrelax {
namespace {

struct filled {
  param par;
  drive drv;
  common_var c;
  filled() { read_param(par, drv, c); }
};

TEST(ReadParam, PairTablesAreSymmetric) {
  filled f;
  for (const pair_table* t : {&f.par.r0, &f.par.k0, &f.par.delta, &f.par.fi0, &f.par.betta})
    for (int a = 1; a <= 4; ++a)
      for (int b = 1; b <= 4; ++b) EXPECT_EQ(std::bit_cast<std::uint64_t>((*t)(a, b)), std::bit_cast<std::uint64_t>((*t)(b, a)));
}

TEST(ReadParam, LiteralsAreStoredBitForBit) {
  filled f;
  // Exact equality: a rounded literal would differ in the last bits.
  EXPECT_EQ(f.par.r0(4, 4), 1.7912484062831358);
  EXPECT_EQ(f.par.delta(1, 3), 0.01457306082829996);
  EXPECT_EQ(f.par.ksi(3, 1), 4.360867316226992);
  EXPECT_EQ(f.par.ksi(4, 2), 4.461321601735512);
  EXPECT_EQ(f.par.h(3, 1), -23.753608060128023);
  EXPECT_EQ(f.par.h(4, 2), -11.255111473843405);
  EXPECT_EQ(f.par.k0(4, 4), 2.6873751888495883);
  EXPECT_EQ(f.par.fi0(3, 3), 1.0300069814527388);
  EXPECT_EQ(f.par.betta(3, 4), 11.6082068698282);
  EXPECT_EQ(f.par.r0(2, 4), 1.22732578158281);
  // Hydrogen has no p shell.
  EXPECT_EQ(f.par.ksi(1, 2), 0.0);
  EXPECT_EQ(f.par.h(1, 2), 0.0);
}

TEST(ReadParam, DriverSettingsAndPullingPairs) {
  filled f;
  EXPECT_EQ(f.drv.step, 0.005);
  EXPECT_EQ(f.drv.ntype, 0);
  EXPECT_EQ(f.c.indper, 0);
  EXPECT_EQ((std::array{f.c.na1, f.c.na2, f.c.na3, f.c.na4, f.c.na5, f.c.na6, f.c.na7, f.c.na8}),
            (std::array{2, 1, 2, 2, 2, 1, 2, 2}));
  EXPECT_EQ(f.c.ff12 + f.c.ff34 + f.c.ff56 + f.c.ff78, 0.0);
}

}  // namespace
}  // namespace tbrelax
