#include "io/json_writer.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>

namespace tbrelax {
namespace {

TEST(JsonWriter, NestedDocumentLayout) {
  json_writer json;
  json.begin_object().key("name").value("water").key("linear").value(false).key("lumo").null();
  json.key("position").numbers({0.0, 0.75700000000000001, -1e-7}).key("empty").begin_array().end_array();
  json.key("rows").begin_array().numbers({1.5, 2}).begin_object().key("a").value(3).end_object().end_array();
  json.end_object();
  EXPECT_EQ(json.str(),
            "{\n  \"name\": \"water\",\n  \"linear\": false,\n  \"lumo\": null,\n"
            "  \"position\": [0, 0.75700000000000001, -9.9999999999999995e-08],\n  \"empty\": [],\n"
            "  \"rows\": [\n    [1.5, 2],\n    {\n      \"a\": 3\n    }\n  ]\n}\n");
}

TEST(JsonWriter, NumbersReadBackExactlyAndNonFiniteOnesBecomeNull) {
  for (const double v : {0.1, -8.6857502275412202, 1.0 / 3.0, 6.02214076e23, 5e-324}) {
    json_writer json;
    json.value(v);
    EXPECT_EQ(std::strtod(json.str().c_str(), nullptr), v);
  }
  json_writer json;
  json.numbers({std::nan(""), std::numeric_limits<double>::infinity(), 1.0});
  EXPECT_EQ(json.str(), "[null, null, 1]\n");
}

// A document the writer is asked to break is refused rather than written wrong.
TEST(JsonWriter, KeysOnlyInsideObjectsAndMembersOnlyAfterKeys) {
  json_writer outside, twice, keyless;
  EXPECT_THROW(outside.begin_array().key("a"), std::logic_error);
  EXPECT_THROW(twice.begin_object().key("a").key("b"), std::logic_error);
  EXPECT_THROW(keyless.begin_object().value(1.0), std::logic_error);
}

TEST(JsonWriter, StringsAreEscaped) {
  EXPECT_EQ(json_string("a\"b\\c\nd\te\x01 Å"), "\"a\\\"b\\\\c\\nd\\te\\u0001 Å\"");
}

}  // namespace
}  // namespace tbrelax
