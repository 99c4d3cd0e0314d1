#include "io/free_format.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace tbrelax {
namespace {

TEST(FreeFormat, TextsJoinAndOtherNeighboursTakeOneBlank) {
  EXPECT_EQ(free_format("H: ", 2), " H:            2");
  EXPECT_EQ(free_format(" Number of atoms is: ", 3), "  Number of atoms is:            3");
  EXPECT_EQ(free_format("H: ", 2, "       C: ", 0), " H:            2        C:            0");
  EXPECT_EQ(free_format("WARNING: ", std::string("X"), " in input.xyz"), " WARNING: X in input.xyz");
  EXPECT_EQ(free_format(1, 2), "           1           2");
  EXPECT_EQ(free_format(""), " ");
  EXPECT_EQ(free_format(), " ");
  EXPECT_EQ(free_format(-2147483647 - 1), " -2147483648");
}

TEST(FreeFormat, RealsHaveAFixedWidthAndFullPrecision) {
  const std::string line = free_format(" Error S<0.", 3, -1.0 / 3.0);
  EXPECT_EQ(line, "  Error S<0.           3  -3.3333333333333331E-01");
  EXPECT_EQ(std::stod(line.substr(24)), -1.0 / 3.0);  // the digits read back to the same double
}

TEST(FixedField, RoundsToTheDecimalsAndRightJustifies) {
  EXPECT_EQ(fixed_field(0.117, 20, 8), "          0.11700000");
  EXPECT_EQ(fixed_field(-0.467, 20, 8), "         -0.46700000");
  EXPECT_EQ(fixed_field(123.456789125, 20, 8), "        123.45678913");
  EXPECT_EQ(fixed_field(6.609956666, 6, 3), " 6.610");
  EXPECT_EQ(fixed_field(2.36439687615, 6, 3), " 2.364");
  EXPECT_EQ(fixed_field(-0.0004, 6, 3), "-0.000");
  EXPECT_EQ(fixed_field(99.9994, 6, 3), "99.999");
}

TEST(FixedField, TooWideValuesBecomeAsterisks) {
  EXPECT_EQ(fixed_field(99.9996, 6, 3), "******");   // rounds to 100.000
  EXPECT_EQ(fixed_field(-9.9996, 6, 3), "******");   // rounds to -10.000
  EXPECT_EQ(fixed_field(-9.9994, 6, 3), "-9.999");
  EXPECT_EQ(fixed_field(1e12, 20, 8), "********************");
  EXPECT_EQ(fixed_field(-1e11 + 0.5, 20, 8), "********************");  // 21 characters
  EXPECT_EQ(fixed_field(-1e10 + 0.5, 20, 8), "-9999999999.50000000");  // exactly 20
}

TEST(FixedField, LeadingZeroIsDroppedOnlyWhenThatMakesItFit) {
  EXPECT_EQ(fixed_field(0.5, 4, 3), ".500");
  EXPECT_EQ(fixed_field(-0.5, 5, 3), "-.500");
  EXPECT_EQ(fixed_field(0.5, 5, 3), "0.500");
}

TEST(FixedField, NonFiniteValuesAreNamed) {
  EXPECT_EQ(fixed_field(std::numeric_limits<double>::quiet_NaN(), 6, 3), "   NaN");
  EXPECT_EQ(fixed_field(-std::numeric_limits<double>::infinity(), 6, 3), "  -Inf");
}

}  // namespace
}  // namespace tbrelax
