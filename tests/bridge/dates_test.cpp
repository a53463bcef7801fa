// Date commands under different time zones and locales: pattern parsing and
// formatting, calendar components, and "ldt " descriptors built from strings.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

#include "bridge/long_date.hpp"
#include "platform/icu_dates.hpp"
#include "tessaro/krv_forder.hpp"

namespace tessaro {
namespace {

// Runs a test in one time zone and locale, then puts the process back.
class DateEnvironment {
 public:
  DateEnvironment(const char* tz, const char* locale) {
    save("TZ", tz);
    save("LC_ALL", locale);
    platform::resetDateDefaultsFromEnvironment();
  }
  ~DateEnvironment() {
    for (const auto& [name, value] : saved_) {
      if (value) setenv(name.c_str(), value->c_str(), 1);
      else unsetenv(name.c_str());
    }
    platform::resetDateDefaultsFromEnvironment();
  }

 private:
  void save(const char* name, const char* value) {
    const char* old = std::getenv(name);
    saved_.emplace_back(name, old ? std::optional<std::string>(old) : std::nullopt);
    setenv(name, value, 1);
  }
  std::vector<std::pair<std::string, std::optional<std::string>>> saved_;
};

// Seconds since 2001 of a GMT wall-clock time, computed without ICU.
double gmt(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
  std::tm t{};
  t.tm_year = year - 1900;
  t.tm_mon = month - 1;
  t.tm_mday = day;
  t.tm_hour = hour;
  t.tm_min = minute;
  t.tm_sec = second;
  return double(timegm(&t)) - platform::kReferenceDateUnixSeconds;
}

Value ldt(double secondsSince2001) { return Value::descriptor(longDateFromDate(secondsSince2001)); }

Value ints(std::int64_t a, std::int64_t b, std::int64_t c, std::int64_t d) {
  return Value::list({Value::integer(a), Value::integer(b), Value::integer(c), Value::integer(d)});
}

constexpr double kHour = 3600;

TEST(DatePatterns, ParseInTheZoneAndKeepLength) {
  const Value strings = Value::list(
      {Value::string(u"2016-04-24 22:32:38"), Value::integer(5), Value::string(u"junk"), Value::null()});
  const Value pattern = Value::string(u"yyyy-MM-dd HH:mm:ss");
  {
    DateEnvironment env("UTC", "en_US.UTF-8");
    EXPECT_EQ(KRVForder::datesFromStrings_format_(strings, pattern),
              Value::list({Value::date(gmt(2016, 4, 24, 22, 32, 38)), Value::null(), Value::null(), Value::null()}));
  }
  {
    DateEnvironment env("America/New_York", "en_US.UTF-8");  // daylight time, 4 hours behind
    EXPECT_EQ(KRVForder::datesFromStrings_format_(strings, pattern).asList()[0],
              Value::date(gmt(2016, 4, 24, 22, 32, 38) + 4 * kHour));
  }
}

TEST(DatePatterns, ParseIsStrictAndUsesTheWholeText) {
  DateEnvironment env("UTC", "en_US.UTF-8");
  const Value pattern = Value::string(u"yyyy-MM-dd");
  for (const char16_t* text : {u"2016-04-24x", u" 2016-04-24", u"2016-02-30", u"2016-13-01", u""}) {
    SCOPED_TRACE(std::string(Value::string(text).toUtf8()));
    EXPECT_EQ(KRVForder::datesFromStrings_format_(Value::list({Value::string(text)}), pattern),
              Value::list({Value::null()}));
  }
  EXPECT_EQ(KRVForder::datesFromStrings_format_(Value::list({Value::string(u"")}), Value()),
            Value::list({Value::null()}));
}

TEST(DatePatterns, FormatDatesAndLongDateDescriptors) {
  DateEnvironment env("Asia/Tokyo", "en_US.UTF-8");
  const double instant = gmt(2016, 4, 24, 22, 32, 38);
  const Value items = Value::list({Value::date(instant), ldt(instant), Value::descriptor(Descriptor(codes::rawData, "x")),
                                   Value::string(u"2016-04-25"), Value::date(std::nan(""))});
  EXPECT_EQ(KRVForder::stringsFromDates_format_(items, Value::string(u"yyyy-MM-dd HH:mm EEE")),
            Value::list({Value::string(u"2016-04-25 07:32 Mon"), Value::string(u"2016-04-25 07:32 Mon"), Value::null(),
                         Value::null(), Value::null()}));
}

TEST(DatePatterns, ArgumentsOfTheWrongKind) {
  DateEnvironment env("UTC", "en_US.UTF-8");
  EXPECT_EQ(KRVForder::datesFromStrings_format_(Value(), Value::string(u"yyyy")), Value::list({}));
  EXPECT_THROW(KRVForder::datesFromStrings_format_(Value::string(u"2016"), Value::string(u"yyyy")), HostFailure);
  EXPECT_THROW(KRVForder::stringsFromDates_format_(Value::list({}), Value::integer(1)), HostFailure);
  // A record is walked by its keys.
  Record r{{u"2016", Value::integer(1)}};
  EXPECT_EQ(KRVForder::datesFromStrings_format_(Value::record(r), Value::string(u"yyyy")),
            Value::list({Value::date(gmt(2016, 1, 1))}));
}

TEST(DateComponents, DependOnZoneAndCalendar) {
  const double instant = gmt(2016, 4, 24, 22, 32, 38) + 0.5;
  {
    DateEnvironment env("UTC", "en_US.UTF-8");
    EXPECT_EQ(KRVForder::dateValuesFrom_(Value::date(instant)), ints(1, 2016, 4, 24));
    EXPECT_EQ(KRVForder::timeValuesFrom_(Value::date(instant)), ints(22, 32, 38, 500000000));
    // Some day in the second year before the Christian era (the calendar is
    // Julian then, so only era and year are compared).
    Value bc = KRVForder::dateValuesFrom_(Value::date(gmt(1, 6, 1) - 2 * 365 * 24 * kHour));
    ASSERT_TRUE(bc.isList());
    EXPECT_EQ(bc.asList()[0], Value::integer(0));
    EXPECT_EQ(bc.asList()[1], Value::integer(2));
  }
  {
    DateEnvironment env("Asia/Tokyo", "en_US.UTF-8");
    EXPECT_EQ(KRVForder::dateValuesFrom_(Value::date(instant)), ints(1, 2016, 4, 25));
    EXPECT_EQ(KRVForder::timeValuesFrom_(Value::date(instant)), ints(7, 32, 38, 500000000));
  }
  {
    DateEnvironment env("UTC", "th_TH@calendar=buddhist");
    EXPECT_EQ(KRVForder::dateValuesFrom_(Value::date(instant)), ints(0, 2559, 4, 24));
  }
}

TEST(DateComponents, WeeksFollowTheLocale) {
  const Value newYear = Value::date(gmt(2016, 1, 1, 12));  // a Friday
  {
    DateEnvironment env("UTC", "en_US.UTF-8");
    EXPECT_EQ(KRVForder::extraDateValuesFrom_(newYear), ints(1, 2016, 1, 6));
  }
  {
    DateEnvironment env("UTC", "de_DE.UTF-8");  // ISO weeks: still week 53 of 2015
    EXPECT_EQ(KRVForder::extraDateValuesFrom_(newYear), ints(1, 2015, 53, 6));
  }
}

TEST(DateComponents, DescriptorsNothingAndOtherKinds) {
  DateEnvironment env("UTC", "en_US.UTF-8");
  const double instant = gmt(2016, 4, 24, 22, 32, 38);
  EXPECT_EQ(KRVForder::timeValuesFrom_(ldt(instant)), ints(22, 32, 38, 0));
  // Any descriptor's payload is read as a long date.
  Value other = Value::descriptor(Descriptor::fromInt64(codes::integer32, 0));
  EXPECT_EQ(KRVForder::dateValuesFrom_(other), ints(1, 1904, 1, 1));
  EXPECT_EQ(KRVForder::dateValuesFrom_(Value()), ints(1, 2001, 1, 1));
  EXPECT_TRUE(KRVForder::dateValuesFrom_(Value::date(1e300)).isNothing());
  try {
    KRVForder::timeValuesFrom_(Value::string(u"2016-04-24"));
    ADD_FAILURE() << "a string answered as a date";
  } catch (const HostFailure& failure) {
    EXPECT_EQ(failure.kind(), FailureKind::unrecognizedSelector);
  }
  EXPECT_THROW(KRVForder::dateValuesFrom_(Value::null()), HostFailure);
}

TEST(LongDateFromString, ScansUpToSixNumbers) {
  DateEnvironment env("America/New_York", "en_US.UTF-8");
  auto seconds = [](const char16_t* text) {
    Value d = KRVForder::KRV_fordDateFromString_(Value::string(text));
    EXPECT_TRUE(d.isDescriptor());
    EXPECT_EQ(d.asDescriptor().type(), codes::longDateTime);
    return dateFromLongDatePayload(d.asDescriptor().data());
  };
  EXPECT_EQ(seconds(u"2016-04-24 22:32:38"), gmt(2016, 4, 25, 2, 32, 38));
  EXPECT_EQ(seconds(u"2016-04-24 22:32:38 99 98"), gmt(2016, 4, 25, 2, 32, 38));
  EXPECT_EQ(seconds(u"-2016/-4"), gmt(2016, 4, 1, 4));  // minus signs are skipped
  EXPECT_EQ(seconds(u"2016"), gmt(2016, 1, 1, 5));  // standard time, 5 hours behind
  EXPECT_EQ(seconds(u"2016 0 0 0 0 0"), gmt(2016, 1, 1, 5));
  EXPECT_EQ(seconds(u"2016 13 1"), gmt(2017, 1, 1, 5));  // months past 12 carry into the year
  EXPECT_EQ(seconds(u"\uFF12\uFF10\uFF11\uFF16"), gmt(2016, 1, 1, 5));  // full-width digits
  for (const char16_t* text : {u"0/0/0", u"", u"no numbers"}) {
    Value d = KRVForder::KRV_fordDateFromString_(Value::string(text));
    ASSERT_TRUE(d.isDescriptor());
    EXPECT_EQ(KRVForder::dateValuesFrom_(d), ints(1, 1, 1, 1));
    EXPECT_EQ(KRVForder::timeValuesFrom_(d), ints(0, 0, 0, 0));
  }
  Value huge = KRVForder::KRV_fordDateFromString_(Value::string(u"99999999999999999999 5"));
  EXPECT_TRUE(huge.isNothing() || huge.isDescriptor());
  EXPECT_THROW(KRVForder::KRV_fordDateFromString_(Value::integer(2016)), HostFailure);
}

TEST(LongDateFromString, UsesTheLocaleCalendar) {
  DateEnvironment env("UTC", "th_TH@calendar=buddhist");
  Value d = KRVForder::KRV_fordDateFromString_(Value::string(u"2559-04-24"));
  ASSERT_TRUE(d.isDescriptor());
  EXPECT_EQ(dateFromLongDatePayload(d.asDescriptor().data()), gmt(2016, 4, 24));
}

TEST(DateDefaults, PosixLocaleNames) {
  EXPECT_EQ(platform::icuLocaleFromPosix("de_DE.UTF-8"), "de_DE");
  EXPECT_EQ(platform::icuLocaleFromPosix("de_DE.ISO-8859-15@euro"), "de_DE");
  EXPECT_EQ(platform::icuLocaleFromPosix("th_TH.UTF-8@calendar=buddhist"), "th_TH@calendar=buddhist");
  for (const char* neutral : {"", "C", "POSIX", "C.UTF-8"}) EXPECT_EQ(platform::icuLocaleFromPosix(neutral), "en_US_POSIX");
}

}  // namespace
}  // namespace tessaro
