#include "lists/key_lookup.hpp"

#include <gtest/gtest.h>

#include "tessaro/errors.hpp"
#include "tessaro/notation.hpp"

namespace tessaro::lists {
namespace {

std::string lookup(const char* value, const char* key) {
  return printNotation(valueForKey(readNotation(value), Value::fromUtf8(key)));
}

FailureKind failureOf(const Value& v, const Value& key) {
  try {
    valueForKey(v, key);
  } catch (const HostFailure& f) {
    return f.kind();
  }
  ADD_FAILURE() << "the lookup did not fail";
  return FailureKind::range;
}

TEST(KeyLookup, SelfRecordsAndLists) {
  EXPECT_EQ(lookup("[1, null]", "self"), "[1, null]");
  EXPECT_EQ(lookup(R"({"a": 1})", "a"), "1");
  EXPECT_TRUE(valueForKey(readNotation(R"({"a": 1})"), Value::fromUtf8("b")).isNothing());
  // A list maps the lookup over its items; an item without the key gives null.
  EXPECT_EQ(lookup(R"([{"a": 1}, {"b": 2}, [{"a": 3}]])", "a"), "[1, null, [3]]");
  EXPECT_EQ(lookup(R"(["ab", "c"])", "length"), "[2, 1]");
}

TEST(KeyLookup, PropertiesOfStringsNumbersAndDates) {
  EXPECT_EQ(lookup(R"("\ud83d\ude00é")", "length"), "3");  // UTF-16 code units
  EXPECT_EQ(lookup(R"("Straße İ")", "uppercaseString"), R"("STRASSE İ")");
  EXPECT_EQ(lookup(R"("ÀB")", "lowercaseString"), R"("àb")");
  EXPECT_EQ(lookup(R"(" 42abc")", "integerValue"), "42");
  EXPECT_EQ(lookup(R"("2.5e1")", "doubleValue"), "25.0");
  EXPECT_EQ(lookup(R"("yes")", "boolValue"), "true");
  EXPECT_EQ(lookup("4294967297", "intValue"), "1");  // 32 bits kept
  EXPECT_EQ(lookup("4294967297", "integerValue"), "4294967297");
  EXPECT_EQ(lookup("2.75", "intValue"), "2");
  EXPECT_EQ(lookup("-3", "stringValue"), R"("-3")");
  EXPECT_EQ(lookup("3.0", "stringValue"), R"("3")");
  EXPECT_EQ(lookup("0.1", "stringValue"), R"("0.1")");
  EXPECT_EQ(lookup("true", "stringValue"), R"("1")");
  EXPECT_EQ(lookup(R"({"$date": 1.5})", "timeIntervalSinceReferenceDate"), "1.5");
  EXPECT_EQ(lookup(R"({"$date": 0.0})", "timeIntervalSince1970"), "978307200.0");
}

TEST(KeyLookup, AnythingElseDoesNotAnswer) {
  const Value name = Value::fromUtf8("name");
  for (const char* v : {"1", R"("x")", "null", R"({"$date": 0.0})", R"({"$data": "AA=="})", "[1]"})
    EXPECT_EQ(failureOf(readNotation(v), name), FailureKind::unrecognizedSelector) << v;
  EXPECT_EQ(failureOf(readNotation("1"), Value::fromUtf8("length")), FailureKind::unrecognizedSelector);
  EXPECT_EQ(failureOf(readNotation(R"("x")"), Value::fromUtf8("stringValue")), FailureKind::unrecognizedSelector);
  // A key must be a string, even for records.
  EXPECT_EQ(failureOf(readNotation(R"({"1": 1})"), Value::integer(1)), FailureKind::unrecognizedSelector);
}

}  // namespace
}  // namespace tessaro::lists
