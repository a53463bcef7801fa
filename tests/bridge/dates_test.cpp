// Date commands under different time zones and locales: pattern parsing and
// formatting, calendar components, and "ldt " descriptors built from strings.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "bridge/long_date.hpp"
#include "platform/icu_dates.hpp"
#include "../platform/platform_test_support.hpp"
#include "tessaro/krv_forder.hpp"

namespace tessaro {
namespace {

// Runs a test in one time zone and locale, then puts the process back.
class DateEnvironment {
 public:
  DateEnvironment(const char* tz, const char* lcAll, const char* lang = "en_US.UTF-8")
      : tz_("TZ", optional(tz)), lcAll_("LC_ALL", optional(lcAll)), lang_("LANG", optional(lang)) {
    platform::resetDateDefaultsFromEnvironment();
  }
  ~DateEnvironment() {
    tz_.restore();
    lcAll_.restore();
    lang_.restore();
    platform::resetDateDefaultsFromEnvironment();
  }

 private:
  static std::optional<std::string> optional(const char* value) {
    return value ? std::optional<std::string>(value) : std::nullopt;
  }
  platform::testing::ScopedEnv tz_, lcAll_, lang_;
};

// Seconds since 2001 of a GMT wall-clock time.
double gmt(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
  return double(platform::testing::unixSeconds(year, month, day, hour, minute, second)) -
         platform::kReferenceDateUnixSeconds;
}

Value str(std::u16string_view text) { return Value::string(text); }

Value ints(std::int64_t a, std::int64_t b, std::int64_t c, std::int64_t d) {
  return Value::list({Value::integer(a), Value::integer(b), Value::integer(c), Value::integer(d)});
}

constexpr double kHour = 3600;

TEST(DateFormatter, StrictParseAndDatesOutOfRange) {
  DateEnvironment env("UTC", "en_US.UTF-8");
  platform::DateFormatter empty(u"");
  EXPECT_EQ(empty.parse(u""), std::nullopt);  // nothing consumed is no date
  EXPECT_EQ(empty.format(0), std::u16string());
  platform::DateFormatter days(u"yyyy-MM-dd");
  EXPECT_EQ(days.parse(u"2016-04-24"), gmt(2016, 4, 24));
  EXPECT_EQ(days.parse(u"2016-04-24\u00A0"), std::nullopt);
  for (double bad : {std::nan(""), HUGE_VAL, -1e300}) EXPECT_EQ(days.format(bad), std::nullopt);
}

TEST(DateFormatter, LocaleComesFromLcAllBeforeLang) {
  DateEnvironment env("Asia/Tokyo", "de_DE.UTF-8", "fr_FR.UTF-8");
  EXPECT_EQ(platform::DateFormatter(u"EEEE HH:mm").format(gmt(2016, 4, 24, 22, 32)), u"Montag 07:32");
}

TEST(DateCommands, ListsRecordsAndNothing) {
  DateEnvironment env("UTC", "en_US.UTF-8");
  EXPECT_EQ(KRVForder::datesFromStrings_format_(Value(), str(u"yyyy")), Value::list({}));
  EXPECT_EQ(KRVForder::stringsFromDates_format_(Value(), str(u"yyyy")), Value::list({}));
  // A record is walked by its keys, as the host enumerates a dictionary.
  Record r{{u"2016", Value::integer(1)}};
  EXPECT_EQ(KRVForder::datesFromStrings_format_(Value::record(r), str(u"yyyy")),
            Value::list({Value::date(gmt(2016, 1, 1))}));
  EXPECT_THROW(KRVForder::stringsFromDates_format_(Value::integer(1), str(u"yyyy")), HostFailure);
}

TEST(DateComponents, ErasFractionsAndFailures) {
  DateEnvironment env("UTC", "en_US.UTF-8");
  // Some day in the second year before the Christian era (the calendar is
  // Julian then, so only era and year are compared).
  Value bc = KRVForder::dateValuesFrom_(Value::date(gmt(1, 6, 1) - 2 * 365 * 24 * kHour));
  ASSERT_TRUE(bc.isList());
  EXPECT_EQ(bc.asList()[0], Value::integer(0));
  EXPECT_EQ(bc.asList()[1], Value::integer(2));
  // A fraction that rounds up to a whole second stays in this second.
  EXPECT_EQ(KRVForder::timeValuesFrom_(Value::date(0.9999999999)), ints(0, 0, 0, 999999999));
  EXPECT_TRUE(KRVForder::timeValuesFrom_(Value::date(std::nan(""))).isNothing());
  try {
    KRVForder::timeValuesFrom_(Value::list({}));
    ADD_FAILURE() << "a list answered as a date";
  } catch (const HostFailure& failure) {
    EXPECT_EQ(failure.kind(), FailureKind::unrecognizedSelector);
  }
}

TEST(LongDateFromString, ScansUpToSixNumbers) {
  DateEnvironment env("America/New_York", "en_US.UTF-8");
  auto seconds = [](const char16_t* text) {
    Value d = KRVForder::KRV_fordDateFromString_(str(text));
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
    Value d = KRVForder::KRV_fordDateFromString_(str(text));
    ASSERT_TRUE(d.isDescriptor());
    EXPECT_EQ(KRVForder::dateValuesFrom_(d), ints(1, 1, 1, 1));
    EXPECT_EQ(KRVForder::timeValuesFrom_(d), ints(0, 0, 0, 0));
  }
  // Far dates read back as written; beyond millions of years there is none.
  EXPECT_EQ(KRVForder::dateValuesFrom_(KRVForder::KRV_fordDateFromString_(str(u"4000000 6 15"))),
            ints(1, 4000000, 6, 15));
  EXPECT_TRUE(KRVForder::KRV_fordDateFromString_(str(u"99999999999999999999 5")).isNothing());
  EXPECT_TRUE(KRVForder::KRV_fordDateFromString_(str(u"2016 1 2147483647")).isNothing());
  EXPECT_THROW(KRVForder::KRV_fordDateFromString_(Value::integer(2016)), HostFailure);
}

TEST(LongDateFromString, UsesTheLocaleCalendar) {
  DateEnvironment env("UTC", "en_US@calendar=buddhist");
  Value d = KRVForder::KRV_fordDateFromString_(str(u"2559-04-24"));
  ASSERT_TRUE(d.isDescriptor());
  EXPECT_EQ(dateFromLongDatePayload(d.asDescriptor().data()), gmt(2016, 4, 24));
}

TEST(DateDefaults, PosixTimeZoneRuleAndLocaleFromLcAllThenLang) {
  // LC_MESSAGES is not one of the variables read.
  const char* oldMessages = std::getenv("LC_MESSAGES");
  std::optional<std::string> savedMessages = oldMessages ? std::optional<std::string>(oldMessages) : std::nullopt;
  setenv("LC_MESSAGES", "de_DE.UTF-8", 1);
  {
    DateEnvironment env("CET-1CEST,M3.5.0,M10.5.0/3", "", "fr_FR.UTF-8");
    platform::DateFormatter format(u"EEEE HH:mm");
    EXPECT_EQ(format.format(gmt(2016, 1, 24, 10)), u"dimanche 11:00");
    EXPECT_EQ(format.format(gmt(2016, 7, 24, 10)), u"dimanche 12:00");
    EXPECT_EQ(KRVForder::timeValuesFrom_(Value::date(gmt(2016, 10, 30, 0, 59))), ints(2, 59, 0, 0));
    EXPECT_EQ(KRVForder::timeValuesFrom_(Value::date(gmt(2016, 10, 30, 1))), ints(2, 0, 0, 0));
  }
  {
    DateEnvironment env("not a zone", "", "");
    EXPECT_EQ(platform::DateFormatter(u"HH:mm").format(gmt(2016, 7, 24, 10)), u"10:00");
    EXPECT_EQ(platform::DateFormatter(u"a").format(0), u"AM");  // en_US_POSIX
  }
  if (savedMessages) setenv("LC_MESSAGES", savedMessages->c_str(), 1);
  else unsetenv("LC_MESSAGES");
}

TEST(DateDefaults, PosixLocaleNames) {
  EXPECT_EQ(platform::icuLocaleFromPosix("de_DE.UTF-8"), "de_DE");
  EXPECT_EQ(platform::icuLocaleFromPosix("de_DE.ISO-8859-15@euro"), "de_DE");
  EXPECT_EQ(platform::icuLocaleFromPosix("th_TH.UTF-8@calendar=buddhist"), "th_TH@calendar=buddhist");
  for (const char* neutral : {"", "C", "POSIX", "C.UTF-8"}) EXPECT_EQ(platform::icuLocaleFromPosix(neutral), "en_US_POSIX");
}

}  // namespace
}  // namespace tessaro
