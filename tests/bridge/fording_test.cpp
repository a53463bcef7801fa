// The bridge conversions in both directions and the commands built on them.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "tessaro/build_config.hpp"
#include "tessaro/errors.hpp"
#include "tessaro/krv_forder.hpp"

namespace tessaro {
namespace {

using K = KRVForder;

Value ldt(std::int64_t seconds) { return Value::descriptor(Descriptor::fromInt64(codes::longDateTime, seconds)); }
Value raw(FourCC type, std::string bytes) { return Value::descriptor(Descriptor(type, std::move(bytes))); }
Value furl(std::string url) { return raw(codes::fileURL, std::move(url)); }
Value mask(std::int64_t bits) { return Value::integer(bits); }
Value text(std::u16string_view s) { return Value::string(s); }

std::int64_t ldtSeconds(const Value& v) {
  EXPECT_TRUE(v.isDescriptor());
  if (!v.isDescriptor() || v.asDescriptor().type() != codes::longDateTime || v.asDescriptor().data().size() != 8)
    return -1;
  std::int64_t seconds = 0;
  std::memcpy(&seconds, v.asDescriptor().data().data(), 8);
  return seconds;
}

template <class F>
FailureKind failureOf(F f) {
  try {
    f();
  } catch (const HostFailure& failure) {
    return failure.kind();
  }
  ADD_FAILURE() << "no host failure";
  return FailureKind::compare;
}

TEST(FordOut, LeafConverters) {
  EXPECT_EQ(K::KRV_fordItemOut_(ldt(0)), Value::date(-3061152000.0));
  EXPECT_EQ(K::KRV_fordItemOut_(ldt(3061152000)), Value::date(0.0));
  // A short payload fills the low bytes of the count.
  EXPECT_EQ(K::KRV_fordDateFromASDate_(raw(codes::longDateTime, std::string("\x01", 1))),
            Value::date(1.0 - 3061152000.0));
  EXPECT_EQ(K::KRV_fordItemOut_(furl("file:///tmp/a%20b")), Value::url("file:///tmp/a%20b"));
  // The payload is a URL string, not a path.
  EXPECT_TRUE(K::KRV_fordURLFromFile_(furl("/tmp/a b")).isNothing());
  EXPECT_TRUE(K::KRV_fordURLFromFile_(furl("")).isNothing());
  // Alias and bookmark references cannot be resolved here; a "furl" given to
  // the alias converter coerces to itself.
  EXPECT_TRUE(K::KRV_fordItemOut_(raw(codes::alias, "opaque")).isNothing());
  EXPECT_TRUE(K::KRV_fordItemOut_(raw(codes::bookmark, "opaque")).isNothing());
  EXPECT_EQ(K::KRV_fordURLFromAlias_(furl("file:///x")), Value::url("file:///x"));
  EXPECT_EQ(K::KRV_fordNSDataFromASData_(raw(codes::rawData, "ab")), Value::data("ab"));
}

TEST(FordOut, LeavesOtherValuesAndRawDataAlone) {
  const Value tdta = raw(codes::rawData, "\x01\x02");
  const Value text = raw(codes::utf8Text, "hi");
  EXPECT_EQ(K::KRV_fordItemOut_(tdta), tdta);
  EXPECT_EQ(K::KRV_fordItemOut_(text), text);
  EXPECT_EQ(K::KRV_fordItemOut_(Value::real(2.0)), Value::real(2.0));
  for (const Value& v : {ldt(0), furl("file:///x"), tdta, raw(codes::alias, "?")})
    EXPECT_EQ(K::KRV_fordItemOut_options_(v, mask(15)), v);
}

TEST(FordOut, MaskBitsPickTheKinds) {
  // 9 leaves data and reals alone: dates and files convert.
  EXPECT_EQ(K::KRV_fordItemOut_options_(ldt(3061152000), mask(9)), Value::date(0.0));
  EXPECT_EQ(K::KRV_fordItemOut_options_(furl("file:///x"), mask(9)), Value::url("file:///x"));
  EXPECT_EQ(K::KRV_fordItemOut_options_(ldt(0), mask(2)), ldt(0));
  EXPECT_EQ(K::KRV_fordItemOut_options_(furl("file:///x"), mask(4)), furl("file:///x"));
  // Raw data with bit 1 clear is handed, still a descriptor, to the operation
  // that wraps data values, which a descriptor does not answer.
  EXPECT_EQ(failureOf([] { K::KRV_fordItemOut_options_(raw(codes::rawData, "x"), mask(0)); }),
            FailureKind::unrecognizedSelector);
}

TEST(FordOut, WalksExactlyOneLevel) {
  const Value nested = Value::list({furl("file:///b")});
  Value out = K::KRV_fordOut_(Value::list({furl("file:///a"), nested, text(u"s"), Value::null()}));
  EXPECT_EQ(out, Value::list({Value::url("file:///a"), nested, text(u"s"), Value::null()}));

  Record in{{u"z", ldt(3061152000)}, {u"a", Value::integer(1)}, {u"m", furl("file:///m")}};
  Value record = K::KRV_fordOut_options_(Value::record(in), mask(1));
  ASSERT_TRUE(record.isRecord());
  auto entries = record.asRecord().entries();
  ASSERT_EQ(entries.size(), 3u);
  EXPECT_EQ(entries[0].first, text(u"z"));
  EXPECT_EQ(entries[0].second, Value::date(0.0));
  EXPECT_EQ(entries[1].first, text(u"a"));
  EXPECT_EQ(entries[2].second, Value::url("file:///m"));
}

TEST(FordOut, NoValueInsideAWalkFailsTheWalk) {
  EXPECT_EQ(failureOf([] { K::KRV_fordOut_(Value::list({ldt(0), raw(codes::alias, "?")})); }),
            FailureKind::invalidArgument);
  EXPECT_EQ(failureOf([] { K::KRV_fordOut_(Value::record(Record{{u"k", furl("no url")}})); }),
            FailureKind::invalidArgument);
}

TEST(FordIn, LeafConverters) {
  EXPECT_EQ(K::KRV_fordItemIn_(Value::integer(3)), Value::integer(3));
  EXPECT_EQ(K::KRV_fordItemIn_(Value::boolean(true)), Value::boolean(true));
  EXPECT_EQ(K::KRV_fordItemIn_(Value::real(3.0)), Value::descriptor(Descriptor::fromDouble(3.0)));
  // Whole seconds, truncated toward zero on both sides of the epoch.
  EXPECT_EQ(ldtSeconds(K::KRV_fordItemIn_(Value::date(0.75))), 3061152000);
  EXPECT_EQ(ldtSeconds(K::KRV_fordItemIn_(Value::date(-0.75))), 3061152000);
  EXPECT_EQ(ldtSeconds(K::KRV_fordItemIn_(Value::date(-3061152001.0))), -1);
  EXPECT_EQ(K::KRV_fordItemIn_(Value::url("file:///a%20b")), furl("file:///a%20b"));
  EXPECT_TRUE(K::KRV_fordItemIn_(Value::url("https://example.com/")).isNothing());
  EXPECT_EQ(K::KRV_fordItemIn_(Value::data("ab")), Value::data("ab"));
  EXPECT_EQ(K::KRV_fordASDataFromNSData_(Value::data("ab")), raw(codes::rawData, "ab"));
}

TEST(FordIn, MaskBitsPickTheKinds) {
  const Value date = Value::date(0.0);
  const Value url = Value::url("file:///x");
  for (const Value& v : {Value::real(1.5), date, url, Value::data("d")})
    EXPECT_EQ(K::KRV_fordItemIn_options_(v, mask(15)), v);
  // Bit 8 set: a real goes on past the number test and comes back as it is.
  EXPECT_EQ(K::KRV_fordItemIn_options_(Value::real(1.5), mask(9)), Value::real(1.5));
  EXPECT_EQ(ldtSeconds(K::KRV_fordItemIn_options_(date, mask(9))), 3061152000);
  EXPECT_EQ(K::KRV_fordItemIn_options_(url, mask(9)), furl("file:///x"));
  EXPECT_EQ(K::KRV_fordItemIn_options_(Value::real(1.5), mask(1)), Value::descriptor(Descriptor::fromDouble(1.5)));
  // Data with bit 1 clear is asked for a descriptor's payload, which it lacks.
  EXPECT_EQ(failureOf([] { K::KRV_fordItemIn_options_(Value::data("d"), mask(0)); }),
            FailureKind::unrecognizedSelector);
  EXPECT_EQ(failureOf([] { K::KRV_fordItemIn_options_(Value::data("d"), Value::list({})); }),
            FailureKind::unrecognizedSelector);
}

TEST(FordIn, WalksExactlyOneLevel) {
  const Value nested = Value::list({Value::date(0.0)});
  Value out = K::KRV_fordIn_(Value::list({Value::date(0.0), Value::url("file:///f"), text(u"s"), nested}));
  ASSERT_TRUE(out.isList());
  ASSERT_EQ(out.asList().size(), 4u);
  EXPECT_EQ(ldtSeconds(out.asList()[0]), 3061152000);
  EXPECT_EQ(out.asList()[1], furl("file:///f"));
  EXPECT_EQ(out.asList()[2], text(u"s"));
  EXPECT_EQ(out.asList()[3], nested);
  EXPECT_EQ(failureOf([] { K::KRV_fordIn_(Value::list({Value::url("http://h/")})); }), FailureKind::invalidArgument);
}

TEST(BridgeCommands, TypeWordsClearTheirBits) {
  const Value mixed = Value::list({Value::real(0.5), Value::date(0.0), Value::url("file:///f")});
  // "realsdates": both words found by substring search, files left alone.
  Value out = K::ASifyFrom_forTypes_(mixed, text(u"REALSdates"));
  ASSERT_TRUE(out.isList());
  EXPECT_EQ(out.asList()[0], Value::descriptor(Descriptor::fromDouble(0.5)));
  EXPECT_EQ(ldtSeconds(out.asList()[1]), 3061152000);
  EXPECT_EQ(out.asList()[2], Value::url("file:///f"));
  EXPECT_EQ(K::ASifyFrom_forTypes_(mixed, text(u"")), mixed);
  EXPECT_EQ(K::ASifyFrom_forTypes_(mixed, text(u"real, date, file")), mixed);
  // "DATA" turns on the data route, which fails; dates stay raw.
  EXPECT_EQ(failureOf([] { K::CocoaifyFrom_forTypes_(raw(codes::rawData, "x"), text(u"DATA")); }),
            FailureKind::unrecognizedSelector);
  EXPECT_EQ(K::CocoaifyFrom_forTypes_(ldt(0), text(u"DATA")), ldt(0));
  EXPECT_EQ(failureOf([] { K::CocoaifyFrom_forTypes_(ldt(0), Value::integer(2)); }),
            FailureKind::unrecognizedSelector);
}

TEST(BridgeCommands, PlainFormsAndInListForms) {
  if (TESSARO_BRIDGE_CONVERTS_NATIVELY) GTEST_SKIP() << "the host bridge converts by itself";
  EXPECT_EQ(K::ASifyFrom_(Value::integer(2)), Value::integer(2));
  EXPECT_EQ(K::ASifyFrom_(Value::real(2.0)), Value::descriptor(Descriptor::fromDouble(2.0)));
  // ASifyFrom: leaves data alone rather than taking the failing route.
  EXPECT_EQ(K::ASifyFrom_(Value::data("d")), Value::data("d"));
  EXPECT_EQ(K::CocoaifyFrom_(ldt(3061152000)), Value::date(0.0));
  EXPECT_EQ(K::CocoaifyFrom_(raw(codes::rawData, "x")), raw(codes::rawData, "x"));
  EXPECT_EQ(K::ASifyInListFrom_(Value::real(2.0)), Value::list({Value::descriptor(Descriptor::fromDouble(2.0))}));
  EXPECT_EQ(K::ASifyInListFrom_forTypes_(Value::real(2.0), text(u"")), Value::list({Value::real(2.0)}));
  EXPECT_EQ(failureOf([] { K::ASifyInListFrom_(Value()); }), FailureKind::invalidArgument);
  EXPECT_EQ(failureOf([] { K::ASifyInListFrom_(Value::url("http://h/")); }), FailureKind::invalidArgument);
}

}  // namespace
}  // namespace tessaro
