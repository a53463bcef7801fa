// Dates through ICU: pattern formatting and parsing, calendar components and
// composing a date from calendar fields, always in the process's default
// locale, calendar and time zone.
//
// Dates are seconds since 2001-01-01 00:00:00 GMT as doubles (the host's
// reference date); ICU counts milliseconds since 1970, so every crossing goes
// through toUDate/fromUDate below. Strings are UTF-16 and are handed to ICU
// without re-encoding.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tessaro::platform {

// Seconds between 1970-01-01 and 2001-01-01, both GMT.
inline constexpr double kReferenceDateUnixSeconds = 978307200.0;

// Scaled before the epochs are shifted, so that a fraction of a second near
// 2001 is not lost to the size of the offset.
inline constexpr double toUDate(double secondsSince2001) noexcept {
  return secondsSince2001 * 1000.0 + kReferenceDateUnixSeconds * 1000.0;
}
inline constexpr double fromUDate(double udate) noexcept { return (udate - kReferenceDateUnixSeconds * 1000.0) / 1000.0; }

// Re-reads the time zone and the locale from the environment and makes them
// ICU's defaults. The zone is TZ: an Olson id or a POSIX TZ rule (see
// posix_time_zone.hpp), the host's zone when TZ is unset or empty. The locale
// is the first non-empty of LC_ALL and LANG, as a POSIX name converted by
// icuLocaleFromPosix. ICU reads its defaults once per process; callers that
// change those variables while running (the test runner) call this after.
void resetDateDefaultsFromEnvironment();

// The ICU locale identifier for a POSIX locale name: the codeset
// (".UTF-8") is dropped, ICU keywords after '@' ("@calendar=buddhist") are
// kept and other POSIX modifiers ("@euro") dropped; "C", "POSIX" and ""
// become "en_US_POSIX".
std::string icuLocaleFromPosix(std::string_view posixName);

// A date formatter for one pattern in the Unicode date pattern syntax, with
// the default locale (and its calendar) and time zone. Parsing is strict: the
// fields must be valid for the calendar and the whole text must be used.
class DateFormatter {
 public:
  explicit DateFormatter(std::u16string_view pattern);
  ~DateFormatter();
  DateFormatter(const DateFormatter&) = delete;
  DateFormatter& operator=(const DateFormatter&) = delete;

  // The date the whole of `text` names; no value when it does not parse.
  std::optional<double> parse(std::u16string_view text) const;
  // The text for a date; no value for a date the calendar cannot hold
  // (not finite, or beyond the calendar's range).
  std::optional<std::u16string> format(double secondsSince2001) const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// Calendar components as the default calendar of the default locale reads
// them in the default time zone. Months and weekdays count from 1 (weekday 1
// is Sunday in the Gregorian calendar); era and year are the calendar's own
// (year 2559 of the Buddhist era for 2016).
enum class CalendarField : std::uint8_t {
  era,
  year,
  month,
  day,
  yearForWeekOfYear,
  weekOfYear,
  weekday,
  hour,
  minute,
  second,
  nanosecond,  // the fraction of the second, rounded to whole nanoseconds
};

// Reads four components of a date, in the order asked; no value for a date
// the calendar cannot hold.
std::optional<std::array<std::int64_t, 4>> calendarComponents(double secondsSince2001,
                                                              const std::array<CalendarField, 4>& fields);

struct CalendarFields {
  std::int32_t year = 1;
  std::int32_t month = 1;  // from 1
  std::int32_t day = 1;
  std::int32_t hour = 0;
  std::int32_t minute = 0;
  std::int32_t second = 0;
};

// The date that the fields name in the default calendar and time zone, read
// leniently as the host's calendars do (month 13 is January of the next
// year); no value when the result lies beyond the calendar's range, or the
// fields together count more than five million years.
std::optional<double> composeDate(const CalendarFields& fields);

}  // namespace tessaro::platform
