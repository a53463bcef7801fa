#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <unordered_set>

#include "tessaro/errors.hpp"
#include "tessaro/value.hpp"

namespace tessaro {
namespace {

Value str(std::u16string_view s) { return Value::string(s); }

TEST(Value, NothingIsNotNull) {
  Value nothing;
  EXPECT_TRUE(nothing.isNothing());
  EXPECT_FALSE(nothing.isNull());
  EXPECT_NE(nothing, Value::null());
  EXPECT_EQ(Value::null(), Value::null());
}

TEST(Value, NumbersKeepTheirStorageKind) {
  EXPECT_EQ(Value::real(2.0).kind(), ValueKind::real);
  EXPECT_EQ(Value::integer(2).kind(), ValueKind::integer);
  EXPECT_EQ(Value::boolean(true).kind(), ValueKind::boolean);
  // ...but compare numerically across kinds, and hash alike when equal.
  EXPECT_EQ(Value::real(2.0), Value::integer(2));
  EXPECT_EQ(Value::real(2.0).hash(), Value::integer(2).hash());
  EXPECT_EQ(Value::boolean(true), Value::integer(1));
  EXPECT_EQ(Value::boolean(true).hash(), Value::integer(1).hash());
  EXPECT_NE(Value::real(2.5), Value::integer(2));
  EXPECT_EQ(Value::real(-0.0), Value::integer(0));
  // Large integers are compared exactly, not through a rounded double.
  const std::int64_t big = std::numeric_limits<std::int64_t>::max();
  EXPECT_NE(Value::integer(big - 1), Value::real(9223372036854775807.0));
  EXPECT_EQ(Value::integer(big - 1).compare(Value::real(9223372036854775807.0)), -1);
  EXPECT_EQ(Value::real(NAN), Value::real(NAN));
}

TEST(Value, StringsInlineAndSharedBehaveAlike) {
  Value shortOne = str(u"abcdefghijk");  // inline
  Value longOne = str(u"abcdefghijkl");   // in a body
  EXPECT_EQ(shortOne.asString(), u"abcdefghijk");
  EXPECT_EQ(longOne.asString(), u"abcdefghijkl");
  EXPECT_EQ(str(u"") .asString(), u"");
  Value copy = longOne;
  EXPECT_TRUE(copy.isSameObject(longOne));
  EXPECT_FALSE(str(u"abcdefghijkl").isSameObject(longOne));
  EXPECT_TRUE(str(u"abcdefghijk").isSameObject(shortOne));
  EXPECT_EQ(str(u"abcdefghijkl"), longOne);
  EXPECT_EQ(str(u"abcdefghijkl").hash(), longOne.hash());
  EXPECT_EQ(Value::range(3, 4).asRange(), (Range{3, 4}));
  Value moved = std::move(copy);
  EXPECT_TRUE(copy.isNothing());
  EXPECT_EQ(moved, longOne);
  // UTF-8 in and out, with the lone surrogate replaced on the way out.
  EXPECT_EQ(Value::fromUtf8("h\xC3\xA9llo w\xC3\xB6rld").asString(), u"h\u00e9llo w\u00f6rld");
  EXPECT_EQ(Value::fromUtf8("\xF0\x9F\x98\x80").asString().size(), 2u);
  EXPECT_EQ(Value::fromUtf8("a\xFF").asString(), u"a\uFFFD");
  EXPECT_EQ(Value::fromValidUtf8("h\xC3\xA9").asString(), u"h\u00e9");
  EXPECT_TRUE(Value::fromValidUtf8("a\xFF").isNothing());
  EXPECT_TRUE(Value::fromValidUtf8("\xED\xA0\x80").isNothing());  // an encoded surrogate
  EXPECT_EQ(Value::fromValidUtf8("").asString(), u"");
  const char16_t lone[] = {u'x', char16_t(0xD800)};
  EXPECT_EQ(Value::string(std::u16string_view(lone, 2)).toUtf8(), "x\xEF\xBF\xBD");
}

TEST(Value, ContainersCompareByContent) {
  Value a = Value::list({Value::integer(1), str(u"two"), Value::null()});
  Value b = Value::list({Value::real(1.0), str(u"two"), Value::null()});
  EXPECT_EQ(a, b);
  EXPECT_EQ(a.hash(), b.hash());
  EXPECT_NE(a, Value::list({Value::integer(1), str(u"two")}));

  Value r1 = Value::record(Record{{u"x", Value::integer(1)}, {u"y", str(u"why")}});
  Value r2 = Value::record(Record{{u"y", str(u"why")}, {u"x", Value::integer(1)}});
  EXPECT_EQ(r1, r2);  // order does not matter
  EXPECT_EQ(r1.hash(), r2.hash());
  EXPECT_EQ(r1.asRecord().entries()[0].first.asString(), u"x");  // but is kept
  EXPECT_NE(r1, Value::record(Record{{u"x", Value::integer(1)}}));

  Record replaced{{u"k", Value::integer(1)}, {u"m", Value::integer(2)}};
  replaced.set(u"k", Value::integer(3));
  ASSERT_EQ(replaced.size(), 2u);
  EXPECT_EQ(replaced.entries()[0].second, Value::integer(3));

  EXPECT_EQ(Value::date(10.5), Value::date(10.5));
  EXPECT_NE(Value::date(10.5), Value::real(10.5));
  EXPECT_EQ(Value::data("ab"), Value::data("ab"));
  EXPECT_EQ(Value::url("file:///tmp/"), Value::url("file:///tmp/"));
  EXPECT_EQ(Value::range(1, 2), Value::range(1, 2));
  EXPECT_NE(Value::range(1, 2), Value::range(2, 1));
  EXPECT_EQ(Value::descriptor(Descriptor::fromDouble(1.5)), Value::descriptor(Descriptor::fromDouble(1.5)));
  EXPECT_NE(Value::descriptor(Descriptor::fromDouble(1.5)), Value::descriptor(Descriptor::fromDouble(2.5)));

  std::unordered_set<Value, ValueHash> set{a, r1, str(u"two"), Value::integer(2)};
  EXPECT_TRUE(set.count(b));
  EXPECT_TRUE(set.count(r2));
  EXPECT_TRUE(set.count(Value::real(2.0)));
}

TEST(Value, NaturalOrdering) {
  EXPECT_EQ(Value::integer(2).compare(Value::real(10.0)), -1);
  EXPECT_EQ(Value::boolean(true).compare(Value::integer(0)), 1);
  // Strings order by UTF-16 code units: capitals before small letters, and a
  // surrogate (U+1F600) before U+FF5E.
  EXPECT_EQ(str(u"B").compare(str(u"a")), -1);
  EXPECT_EQ(str(u"x10").compare(str(u"x2")), -1);
  EXPECT_EQ(str(u"\U0001F600").compare(str(u"\uFF5E")), -1);
  EXPECT_EQ(str(u"ab").compare(str(u"ab")), 0);
  EXPECT_EQ(Value::date(1).compare(Value::date(0)), 1);
  auto kindOf = [](const Value& a, const Value& b) {
    try {
      a.compare(b);
    } catch (const HostFailure& f) {
      return f.kind();
    }
    return FailureKind::range;
  };
  EXPECT_EQ(kindOf(Value::integer(1), str(u"1")), FailureKind::compare);
  EXPECT_EQ(kindOf(Value::null(), Value::null()), FailureKind::compare);
  EXPECT_EQ(kindOf(Value::list({}), Value::list({})), FailureKind::compare);
  EXPECT_EQ(kindOf(Value::date(1), Value::real(1)), FailureKind::compare);
}

TEST(Value, ScalarReadings) {
  EXPECT_EQ(Value().integerValue(), 0);
  EXPECT_FALSE(Value().boolValue());
  EXPECT_EQ(Value::real(-3.9).integerValue(), -3);
  EXPECT_EQ(Value::real(1e300).integerValue(), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(str(u"12abc").integerValue(), 12);
  EXPECT_EQ(str(u"abc").integerValue(), 0);
  EXPECT_EQ(str(u"  -42.7").integerValue(), -42);
  EXPECT_EQ(str(u"+7").integerValue(), 7);
  EXPECT_EQ(str(u"99999999999999999999").integerValue(), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(str(u"-9223372036854775808").integerValue(), std::numeric_limits<std::int64_t>::min());
  EXPECT_DOUBLE_EQ(str(u" 3.25xyz").doubleValue(), 3.25);
  EXPECT_DOUBLE_EQ(str(u"-.5").doubleValue(), -0.5);
  EXPECT_DOUBLE_EQ(str(u"1e3").doubleValue(), 1000.0);
  EXPECT_DOUBLE_EQ(str(u"2e").doubleValue(), 2.0);
  EXPECT_DOUBLE_EQ(str(u".").doubleValue(), 0.0);
  EXPECT_TRUE(std::isinf(str(u"1e999").doubleValue()));
  EXPECT_EQ(str(u"1e-999").doubleValue(), 0.0);
  EXPECT_DOUBLE_EQ(Value::integer(5).doubleValue(), 5.0);
  EXPECT_TRUE(str(u"yes").boolValue());
  EXPECT_TRUE(str(u"  -007").boolValue());
  EXPECT_FALSE(str(u"0.9").boolValue());
  EXPECT_FALSE(str(u"no").boolValue());
  EXPECT_TRUE(Value::real(0.5).boolValue());

  for (const Value& v : {Value::null(), Value::list({}), Value::record({}), Value::date(0), Value::data("")}) {
    SCOPED_TRACE(std::string(kindName(v.kind())));
    try {
      v.integerValue();
      ADD_FAILURE() << "no failure";
    } catch (const HostFailure& f) {
      EXPECT_EQ(f.kind(), FailureKind::unrecognizedSelector);
    }
    EXPECT_THROW(v.doubleValue(), HostFailure);
    EXPECT_THROW(v.boolValue(), HostFailure);
  }
}

TEST(IndexSet, MergesRunsAndKeepsThemAscending) {
  IndexSet s;
  s.add(5);
  s.add(1);
  s.add(3);
  s.add(2);
  s.addRange(6, 2);
  EXPECT_EQ(s.indexes(), (std::vector<std::uint64_t>{1, 2, 3, 5, 6, 7}));
  ASSERT_EQ(s.runs().size(), 2u);
  s.add(4);
  ASSERT_EQ(s.runs().size(), 1u);
  EXPECT_EQ(s.count(), 7u);
  EXPECT_TRUE(s.contains(1));
  EXPECT_TRUE(s.contains(7));
  EXPECT_FALSE(s.contains(0));
  EXPECT_FALSE(s.contains(8));
}

TEST(Descriptor, FourCharacterCodes) {
  EXPECT_EQ(fourCC("furl"), 0x6675726Cu);
  EXPECT_EQ(fourCCString(codes::longDateTime), "ldt ");
  FourCC code = 0;
  EXPECT_TRUE(fourCCFromString("clsd", code));
  EXPECT_FALSE(fourCCFromString("abc", code));
  // Codes held as payloads are in the machine's byte order.
  EXPECT_EQ(Descriptor::fromFourCC(codes::enumerated, fourCC("clsd")).data(), "dslc");
  EXPECT_EQ(Descriptor::fromBool(true).data(), std::string(1, '\1'));
  EXPECT_EQ(Descriptor::fromDouble(1.0).data().size(), 8u);
}

}  // namespace
}  // namespace tessaro

namespace tessaro {
namespace {

TEST(Record, LargeRecordsFindEveryKeyAndReplaceInPlace) {
  Record r;
  for (int i = 0; i < 1000; ++i) r.set(Value::fromUtf8("key" + std::to_string(i)), Value::integer(i));
  ASSERT_EQ(r.size(), 1000u);
  for (int i = 0; i < 1000; i += 37) {
    std::u16string key = u"key" + std::u16string(Value::fromUtf8(std::to_string(i)).asString());
    const Value* v = r.find(key);
    ASSERT_NE(v, nullptr) << i;
    EXPECT_EQ(*v, Value::integer(i));
  }
  EXPECT_EQ(r.find(u"key1000"), nullptr);
  r.set(u"key500", Value::null());
  EXPECT_EQ(r.size(), 1000u);
  EXPECT_EQ(r.entries()[500].second, Value::null());
  Record copy = r;  // the copy's index still finds its own entries
  EXPECT_EQ(*copy.find(u"key999"), Value::integer(999));
  EXPECT_EQ(Value::record(copy), Value::record(r));
}

}  // namespace
}  // namespace tessaro
