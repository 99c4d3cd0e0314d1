#include "io/free_reader.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace tbrelax {
namespace {

free_reader reader_of(std::vector<std::string> lines) { return free_reader("f.xyz", std::move(lines)); }

TEST(FreeReader, TextIsOneFieldOrAQuotedStringCutOrPadded) {
  auto r = reader_of({"water molecule", "'water molecule' x", "\"it's\"", "'say ''hi'''", "Cl12 1 2 3"});
  r.begin_read();
  EXPECT_EQ(r.next_text(8), "water   ");
  r.begin_read();
  EXPECT_EQ(r.next_text(16), "water molecule  ");
  r.begin_read();
  EXPECT_EQ(r.next_text(5), "it's ");
  r.begin_read();
  EXPECT_EQ(r.next_text(20), "say 'hi'            ");
  r.begin_read();
  EXPECT_EQ(r.next_text(1), "C");
}

TEST(FreeReader, NumbersInEveryAcceptedNotation) {
  auto r = reader_of({"+.5 -3. 1.5-3 2E+2 7q0 -0 42 -17"});
  r.begin_read();
  for (double expected : {0.5, -3.0, 1.5e-3, 200.0, 7.0}) EXPECT_EQ(r.next_real(), expected);
  EXPECT_TRUE(std::signbit(*r.next_real()));
  EXPECT_EQ(r.next_integer(), 42);
  EXPECT_EQ(r.next_integer(), -17);
}

void expect_fault(const std::string& line, bool integer, const std::string& message, int column, int length) {
  auto r = reader_of({line});
  r.begin_read();
  try {
    if (integer) r.next_integer();
    else r.next_real();
    ADD_FAILURE() << "no fault for " << line;
  } catch (const io_error& e) {
    EXPECT_EQ(std::string(e.what()), message) << line;
    EXPECT_EQ(e.where().line, 1);
    EXPECT_EQ(e.where().column, column) << line;
    EXPECT_EQ(e.where().length, length) << line;
    EXPECT_EQ(e.where().line_text, line);
  }
}

TEST(FreeReader, MalformedNumbersPointAtTheirField) {
  expect_fault("  abc 1", false, "'abc' is not a real number", 3, 3);
  expect_fault("1.0.0", false, "'1.0.0' is not a real number", 1, 5);
  expect_fault("NaN", false, "'NaN' is not a real number", 1, 3);
  expect_fault("inf", false, "'inf' is not a real number", 1, 3);
  expect_fault("1e", false, "'1e' is not a real number", 1, 2);
  expect_fault("1e999", false, "'1e999' is too large for a real number", 1, 5);
  expect_fault("'1.0'", false, "''1.0'' is not a real number", 1, 5);
  expect_fault(", 1.0", false, "a number is missing between two commas", 1, 1);
  expect_fault("3.0", true, "'3.0' is not an integer", 1, 3);
  expect_fault("+-3", true, "'+-3' is not an integer", 1, 3);
  expect_fault("99999999999", true, "'99999999999' is too large for an integer", 1, 11);
  expect_fault("'open", false, "the quoted text is not closed on its line", 1, 5);
}

TEST(FreeReader, SinglePrecisionOverflowsWhereDoubleDoesNot) {
  auto r = reader_of({"1e39 1e39"});
  r.begin_read();
  EXPECT_EQ(r.next_real(), 1e39);
  EXPECT_THROW(r.next_real_single(), io_error);
}

}  // namespace
}  // namespace tbrelax
