// POSIX TZ rules made into ICU zones: offsets and names, daylight-time
// transitions checked at known instants and against ICU's own Olson zones,
// the day and time forms of the rules, and what TZ values fall back to.
#include "platform/posix_time_zone.hpp"
#include "platform_test_support.hpp"

#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <ctime>
#include <memory>
#include <string>

namespace tessaro::platform {
namespace {

constexpr std::int32_t kHour = 3600;

// Milliseconds since 1970 of a UTC wall-clock time.
UDate utc(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
  return UDate(testing::unixSeconds(year, month, day, hour, minute, second)) * 1000.0;
}

// The zone's whole offset from UTC at an instant, in seconds.
std::int32_t offsetAt(const icu::TimeZone& zone, UDate instant) {
  std::int32_t raw = 0;
  std::int32_t dst = 0;
  UErrorCode status = U_ZERO_ERROR;
  zone.getOffset(instant, false, raw, dst, status);
  EXPECT_TRUE(U_SUCCESS(status));
  return (raw + dst) / 1000;
}

std::unique_ptr<icu::TimeZone> rule(const char* text) {
  auto zone = timeZoneFromPosixRule(text);
  EXPECT_NE(zone, nullptr) << text;
  return zone;
}

std::string idOf(const icu::TimeZone& zone) {
  icu::UnicodeString id;
  std::string utf8;
  zone.getID(id).toUTF8String(utf8);
  return utf8;
}

// The rule gives the same offset as ICU's Olson zone at every hour of the
// years; Olson zones carry the same rules for those years.
void expectSameOffsets(const char* text, const char* olson, int fromYear, int toYear) {
  auto zone = rule(text);
  ASSERT_NE(zone, nullptr);
  std::unique_ptr<icu::TimeZone> reference(icu::TimeZone::createTimeZone(olson));
  int mismatches = 0;
  for (UDate t = utc(fromYear, 1, 1); t < utc(toYear + 1, 1, 1) && mismatches < 5; t += kHour * 1000.0) {
    if (offsetAt(*zone, t) != offsetAt(*reference, t)) {
      ++mismatches;
      ADD_FAILURE() << text << " and " << olson << " differ at " << t / 1000 << " s";
    }
  }
}

TEST(PosixTimeZone, FixedOffsetsAreWestPositive) {
  EXPECT_EQ(offsetAt(*rule("IST-5:30"), utc(2024, 7, 1)), 5 * kHour + 30 * 60);
  EXPECT_EQ(offsetAt(*rule("<+0530>-5:30"), utc(2024, 1, 1)), 5 * kHour + 30 * 60);
  EXPECT_EQ(offsetAt(*rule("<-03>3"), utc(2024, 1, 1)), -3 * kHour);
  EXPECT_EQ(offsetAt(*rule("EST+5"), utc(2024, 7, 1)), -5 * kHour);
  EXPECT_EQ(offsetAt(*rule("LMT-0:09:21"), utc(2024, 7, 1)), 9 * 60 + 21);
  EXPECT_EQ(offsetAt(*rule("<UTC+14>-14"), utc(2024, 7, 1)), 14 * kHour);
  EXPECT_EQ(offsetAt(*rule("UTC0"), utc(2024, 7, 1)), 0);
  EXPECT_FALSE(rule("IST-5:30")->useDaylightTime());
  // Daylight time as far from standard as standard: no daylight time at all.
  EXPECT_FALSE(rule("AAA3BBB3,M3.2.0,M11.1.0")->useDaylightTime());
  EXPECT_EQ(idOf(*rule("<+0530>-5:30")), "<+0530>-5:30");
}

TEST(PosixTimeZone, CentralEuropeanTransitions) {
  auto cet = rule("CET-1CEST,M3.5.0,M10.5.0/3");
  ASSERT_NE(cet, nullptr);
  EXPECT_EQ(offsetAt(*cet, utc(1970, 1, 1)), kHour);
  EXPECT_EQ(offsetAt(*cet, utc(2016, 7, 1)), 2 * kHour);
  // 31 March 2024 at 02:00 CET and 27 October at 03:00 CEST are both 01:00 UTC.
  EXPECT_EQ(offsetAt(*cet, utc(2024, 3, 31, 0, 59, 59)), kHour);
  EXPECT_EQ(offsetAt(*cet, utc(2024, 3, 31, 1)), 2 * kHour);
  EXPECT_EQ(offsetAt(*cet, utc(2024, 10, 27, 0, 59, 59)), 2 * kHour);
  EXPECT_EQ(offsetAt(*cet, utc(2024, 10, 27, 1)), kHour);
  // The last Sunday, not the Sunday of the fifth week: 25 March 2018.
  EXPECT_EQ(offsetAt(*cet, utc(2018, 3, 25, 0, 59)), kHour);
  EXPECT_EQ(offsetAt(*cet, utc(2018, 3, 25, 1)), 2 * kHour);
  expectSameOffsets("CET-1CEST,M3.5.0,M10.5.0/3", "Europe/Paris", 2000, 2030);
  // Without an offset, daylight time is one hour ahead of standard time.
  expectSameOffsets("CET-1CEST-2,M3.5.0/2:00:00,M10.5.0/3", "Europe/Paris", 2000, 2030);
}

TEST(PosixTimeZone, SouthernHemisphereAndOtherDaylightAmounts) {
  auto sydney = rule("AEST-10AEDT,M10.1.0,M4.1.0/3");
  ASSERT_NE(sydney, nullptr);
  EXPECT_EQ(offsetAt(*sydney, utc(2024, 1, 15)), 11 * kHour);
  EXPECT_EQ(offsetAt(*sydney, utc(2024, 7, 15)), 10 * kHour);
  // 6 October 2024 at 02:00 AEST is 16:00 UTC the day before.
  EXPECT_EQ(offsetAt(*sydney, utc(2024, 10, 5, 15, 59)), 10 * kHour);
  EXPECT_EQ(offsetAt(*sydney, utc(2024, 10, 5, 16)), 11 * kHour);
  expectSameOffsets("AEST-10AEDT,M10.1.0,M4.1.0/3", "Australia/Sydney", 2010, 2030);
  // Half an hour of daylight time.
  expectSameOffsets("<+1030>-10:30<+11>-11,M10.1.0,M4.1.0", "Australia/Lord_Howe", 2010, 2030);
  // Daylight time behind standard time, in winter.
  expectSameOffsets("IST-1GMT0,M10.5.0,M3.5.0/1", "Europe/Dublin", 2000, 2030);
  // A daylight name alone takes the second Sunday of March to the first of November.
  expectSameOffsets("EST5EDT", "America/New_York", 2008, 2030);
}

TEST(PosixTimeZone, DayOfYearForms) {
  // J60 is 1 March in every year, 29 February never being counted.
  auto julian = rule("<-03>3<-02>,J60,J305");
  ASSERT_NE(julian, nullptr);
  for (int year : {2023, 2024}) {
    EXPECT_EQ(offsetAt(*julian, utc(year, 3, 1, 4, 59)), -3 * kHour) << year;
    EXPECT_EQ(offsetAt(*julian, utc(year, 3, 1, 5)), -2 * kHour) << year;
    // 1 November at 02:00 daylight time.
    EXPECT_EQ(offsetAt(*julian, utc(year, 11, 1, 3, 59)), -2 * kHour) << year;
    EXPECT_EQ(offsetAt(*julian, utc(year, 11, 1, 4)), -3 * kHour) << year;
  }
  // Day 59 counted from 0 is 1 March in a common year; leap years are placed
  // the same way (29 February would be exact).
  auto zeroBased = rule("<-03>3<-02>,59/0,304/0");
  ASSERT_NE(zeroBased, nullptr);
  EXPECT_EQ(offsetAt(*zeroBased, utc(2023, 3, 1, 2, 59)), -3 * kHour);
  EXPECT_EQ(offsetAt(*zeroBased, utc(2023, 3, 1, 3)), -2 * kHour);
  EXPECT_EQ(offsetAt(*zeroBased, utc(2024, 3, 1, 3)), -2 * kHour);
  // Daylight time from the first moment of the year until after its end.
  auto always = rule("EST5EDT,0/0,J365/25");
  ASSERT_NE(always, nullptr);
  for (UDate t : {utc(2024, 1, 1, 0), utc(2024, 7, 1), utc(2024, 12, 31, 23, 59)})
    EXPECT_EQ(offsetAt(*always, t), -4 * kHour);
}

TEST(PosixTimeZone, TimesBeyondTheDay) {
  // Friday before the last Sunday of March: the fourth Thursday plus 26 hours.
  expectSameOffsets("IST-2IDT,M3.4.4/26,M10.5.0", "Asia/Jerusalem", 2013, 2030);
  // The last Sunday of March at -1:00, i.e. 23:00 on the Saturday (local -02),
  // and the last Sunday of October at 00:00 (local -01): 01:00 UTC both.
  auto greenland = rule("<-02>2<-01>,M3.5.0/-1,M10.5.0/0");
  ASSERT_NE(greenland, nullptr);
  EXPECT_EQ(offsetAt(*greenland, utc(2024, 3, 31, 0, 59)), -2 * kHour);
  EXPECT_EQ(offsetAt(*greenland, utc(2024, 3, 31, 1)), -kHour);
  EXPECT_EQ(offsetAt(*greenland, utc(2024, 10, 27, 0, 59)), -kHour);
  EXPECT_EQ(offsetAt(*greenland, utc(2024, 10, 27, 1)), -2 * kHour);
  // The last Sunday moved forward is no rule SimpleTimeZone has: its time is
  // clamped to the end of the day, and the zone is still made.
  auto clamped = rule("AAA0BBB,M3.5.0/30,M10.5.0/-30");
  ASSERT_NE(clamped, nullptr);
  EXPECT_EQ(offsetAt(*clamped, utc(2024, 7, 1)), kHour);
  EXPECT_EQ(offsetAt(*clamped, utc(2024, 1, 1)), 0);
}

TEST(PosixTimeZone, MalformedRules) {
  for (const char* text : {"", "CET", "CE-1", "CET-", "CET-25", "CET-1:60", "CET-1:5:", "CET-001", "<AB>-1",
                           "<CET-1", "<C_T>-1", "CET-1CE", "CET-1CEST,", "CET-1CEST,M3.5.0",
                           "CET-1CEST,M3.5.0,", "CET-1CEST,M13.5.0,M10.5.0", "CET-1CEST,M0.5.0,M10.5.0",
                           "CET-1CEST,M3.6.0,M10.5.0", "CET-1CEST,M3.0.0,M10.5.0", "CET-1CEST,M3.5.7,M10.5.0",
                           "CET-1CEST,M3.5,M10.5.0", "CET-1CEST,J0,J365", "CET-1CEST,J366,J1", "CET-1CEST,366,1",
                           "CET-1CEST,M3.5.0/168,M10.5.0", "CET-1CEST,M3.5.0/,M10.5.0", "CET-1 ",
                           "CET-1CEST,M3.5.0,M10.5.0/3x", "CET-1CEST,M3.5.0,M10.5.0,M11.1.0", "C\xC3\x89T-1",
                           "Europe/Paris", ":Europe/Paris", "CET-1CEST-25"}) {
    EXPECT_EQ(timeZoneFromPosixRule(text), nullptr) << text;
  }
}

TEST(TimeZoneFromTz, OlsonIdsRulesAndFallback) {
  EXPECT_EQ(idOf(*timeZoneFromTz("Europe/Paris")), "Europe/Paris");
  EXPECT_EQ(idOf(*timeZoneFromTz(":America/New_York")), "America/New_York");
  EXPECT_EQ(idOf(*timeZoneFromTz("UTC")), "UTC");
  EXPECT_EQ(offsetAt(*timeZoneFromTz("CET-1CEST,M3.5.0,M10.5.0/3"), utc(2024, 7, 1)), 2 * kHour);
  EXPECT_EQ(offsetAt(*timeZoneFromTz("IST-5:30"), utc(2024, 7, 1)), 5 * kHour + 30 * 60);
  // ICU would read "GMT+5" as its custom zone five hours ahead; as a TZ rule
  // it is five hours behind.
  EXPECT_EQ(offsetAt(*timeZoneFromTz("GMT+5"), utc(2024, 7, 1)), -5 * kHour);
  for (const char* unknown : {"Mars/Olympus_Mons", "Etc/Unknown", ":CET-1", "not a zone", ":"}) {
    auto zone = timeZoneFromTz(unknown);
    EXPECT_EQ(idOf(*zone), "UTC") << unknown;
  }
  std::unique_ptr<icu::TimeZone> host(icu::TimeZone::detectHostTimeZone());
  EXPECT_EQ(idOf(*timeZoneFromTz(nullptr)), idOf(*host));
  EXPECT_EQ(idOf(*timeZoneFromTz("")), idOf(*host));
}

}  // namespace
}  // namespace tessaro::platform
