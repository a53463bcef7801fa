// Reading POSIX TZ rules into ICU SimpleTimeZones, and choosing between an
// Olson id, a rule and UTC for a value of TZ.
#include "platform/posix_time_zone.hpp"

#include <unicode/simpletz.h>
#include <unicode/stringpiece.h>
#include <unicode/unistr.h>

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

namespace tessaro::platform {

namespace {

constexpr std::int32_t kHour = 3600;
constexpr std::int32_t kDay = 24 * kHour;
constexpr std::array<int, 12> kCommonYearMonthDays{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

// A transition date in the encoding SimpleTimeZone's rules take (months
// from 0, weekdays from 1 = Sunday):
//   weekday 0: that day of the month;
//   day 1..4 or -1, weekday > 0: the day-th (-1: last) weekday of the month;
//   day > 0, weekday < 0: the first -weekday on or after that day;
//   day < 0, weekday < 0: the last -weekday on or before day -day.
struct RuleDate {
  int month = 0;
  int day = 1;
  int weekday = 0;
};

struct Transition {
  RuleDate date;
  std::int32_t seconds = 2 * kHour;  // local time of day; may leave 0..24 h
};

// Day 0..364 of a common year as a fixed month and day.
RuleDate dayOfCommonYear(int day) {
  int month = 0;
  while (day >= kCommonYearMonthDays[std::size_t(month)]) day -= kCommonYearMonthDays[std::size_t(month++)];
  return {month, day + 1, 0};
}

int firstDayOfMonth(int month) {
  int day = 0;
  for (int m = 0; m < month; ++m) day += kCommonYearMonthDays[std::size_t(m)];
  return day;
}

// The same date moved by `days` (-7..6), when it is still a rule of a form
// SimpleTimeZone has. The n-th weekday is the first one on or after day
// 7(n-1)+1, so moved it is the first shifted weekday on or after the shifted
// day, as long as that week stays inside the month in every year; the last
// weekday moved back is the last shifted weekday on or before the shifted
// month end, except in February, whose end moves.
std::optional<RuleDate> movedBy(const RuleDate& date, int days) {
  const int length = kCommonYearMonthDays[std::size_t(date.month)];
  if (date.weekday == 0) {
    int day = (firstDayOfMonth(date.month) + date.day - 1 + days + 365) % 365;
    return dayOfCommonYear(day);
  }
  const int weekday = (date.weekday - 1 + days % 7 + 7) % 7 + 1;
  if (date.day > 0) {
    int from = 7 * (date.day - 1) + 1 + days;
    if (from < 1 || from + 6 > length) return std::nullopt;
    return RuleDate{date.month, from, -weekday};
  }
  if (days > 0 || date.month == 1) return std::nullopt;
  return RuleDate{date.month, -(length + days), -weekday};
}

// The date and time of day (0..24 h) SimpleTimeZone is given for a
// transition: times past either end of the day move the date by whole days
// where the moved date can be written, and are clamped otherwise.
std::pair<RuleDate, std::int32_t> placed(const Transition& transition) {
  if (transition.seconds >= 0 && transition.seconds <= kDay) return {transition.date, transition.seconds};
  int days = transition.seconds / kDay;
  std::int32_t rest = transition.seconds % kDay;
  if (rest < 0) {
    days -= 1;
    rest += kDay;
  }
  if (auto moved = movedBy(transition.date, days)) return {*moved, rest};
  return {transition.date, transition.seconds < 0 ? 0 : kDay};
}

// Callers keep the text within ICU's 32-bit lengths.
icu::UnicodeString fromUtf8(std::string_view text) {
  return icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), std::int32_t(text.size())));
}

bool isLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

// A cursor over the rule text; each reader consumes what it accepts.
class RuleReader {
 public:
  explicit RuleReader(std::string_view text) : text_(text) {}

  bool atEnd() const { return pos_ == text_.size(); }
  char peek() const { return atEnd() ? '\0' : text_[pos_]; }
  bool take(char c) {
    if (atEnd() || text_[pos_] != c) return false;
    ++pos_;
    return true;
  }

  // Three or more letters, or "<...>" around three or more letters, digits,
  // '+' and '-'.
  bool name() {
    const std::size_t start = pos_;
    if (take('<')) {
      while (isLetter(peek()) || isDigit(peek()) || peek() == '+' || peek() == '-') ++pos_;
      return pos_ - start - 1 >= 3 && take('>');
    }
    while (isLetter(peek())) ++pos_;
    return pos_ - start >= 3;
  }

  // [+-]h[h...][:mm[:ss]] in seconds, at most `maxHours` hours.
  std::optional<std::int32_t> duration(int maxHourDigits, int maxHours) {
    std::int32_t sign = 1;
    if (take('-')) sign = -1;
    else take('+');
    auto hours = number(maxHourDigits, maxHours);
    if (!hours) return std::nullopt;
    std::int32_t seconds = *hours * kHour;
    if (take(':')) {
      auto minutes = number(2, 59);
      if (!minutes) return std::nullopt;
      seconds += *minutes * 60;
      if (take(':')) {
        auto secs = number(2, 59);
        if (!secs) return std::nullopt;
        seconds += *secs;
      }
    }
    return sign * seconds;
  }

  // date[/time]
  std::optional<Transition> transition() {
    Transition result;
    auto day = date();
    if (!day) return std::nullopt;
    result.date = *day;
    if (take('/')) {
      auto time = duration(3, 167);
      if (!time) return std::nullopt;
      result.seconds = *time;
    }
    return result;
  }

 private:
  // Jn, n or Mm.w.d.
  std::optional<RuleDate> date() {
    if (take('J')) {
      auto day = number(3, 365);
      if (!day || *day < 1) return std::nullopt;
      return dayOfCommonYear(*day - 1);
    }
    if (take('M')) {
      auto month = number(2, 12);
      if (!month || *month < 1 || !take('.')) return std::nullopt;
      auto week = number(1, 5);
      if (!week || *week < 1 || !take('.')) return std::nullopt;
      auto weekday = number(1, 6);
      if (!weekday) return std::nullopt;
      return RuleDate{*month - 1, *week == 5 ? -1 : *week, *weekday + 1};
    }
    auto day = number(3, 365);
    if (!day) return std::nullopt;
    // Day 365 exists only in leap years, where it is 31 December.
    return dayOfCommonYear(*day == 365 ? 364 : *day);
  }

  // One to `maxDigits` decimal digits naming at most `max`.
  std::optional<std::int32_t> number(int maxDigits, std::int32_t max) {
    std::int32_t value = 0;
    int digits = 0;
    while (isDigit(peek())) {
      if (++digits > maxDigits) return std::nullopt;
      value = value * 10 + (text_[pos_++] - '0');
    }
    if (digits == 0 || value > max) return std::nullopt;
    return value;
  }

  std::string_view text_;
  std::size_t pos_ = 0;
};

// Daylight time from the first moment of the year until after its last,
// the way TZ rules write a zone that stays on daylight time.
bool lastsAllYear(const Transition& start, const Transition& end, std::int32_t savings) {
  return start.date.month == 0 && start.date.day == 1 && start.date.weekday == 0 && start.seconds <= 0 &&
         end.date.month == 11 && end.date.day == 31 && end.date.weekday == 0 && end.seconds >= kDay + savings;
}

std::unique_ptr<icu::TimeZone> fixedZone(std::int32_t secondsEast, const icu::UnicodeString& id) {
  return std::make_unique<icu::SimpleTimeZone>(secondsEast * 1000, id);
}

}  // namespace

std::unique_ptr<icu::TimeZone> timeZoneFromPosixRule(std::string_view rule) {
  if (rule.size() > std::size_t(std::numeric_limits<std::int32_t>::max())) return nullptr;
  RuleReader in(rule);
  if (!in.name()) return nullptr;
  auto standardWest = in.duration(2, 24);
  if (!standardWest) return nullptr;
  // The rule text is the zone's id: it names no zone ICU knows, and shows
  // what the zone was made from.
  const icu::UnicodeString id = fromUtf8(rule);
  const std::int32_t standard = -*standardWest;
  if (in.atEnd()) return fixedZone(standard, id);

  if (!in.name()) return nullptr;
  std::int32_t daylight = standard + kHour;
  if (!in.atEnd() && in.peek() != ',') {
    auto daylightWest = in.duration(2, 24);
    if (!daylightWest) return nullptr;
    daylight = -*daylightWest;
  }
  // Without dates, the C library's default: 2 Sunday March to 1 Sunday November.
  Transition start{{2, 2, 1}};
  Transition end{{10, 1, 1}};
  if (in.take(',')) {
    auto first = in.transition();
    if (!first || !in.take(',')) return nullptr;
    auto second = in.transition();
    if (!second) return nullptr;
    start = *first;
    end = *second;
  }
  if (!in.atEnd()) return nullptr;

  const std::int32_t savings = daylight - standard;
  if (savings == 0) return fixedZone(standard, id);
  if (lastsAllYear(start, end, savings)) return fixedZone(daylight, id);

  auto zone = std::make_unique<icu::SimpleTimeZone>(standard * 1000, id);
  // Both times are local wall-clock times: the start in standard time, the
  // end in daylight time, which is what ICU's WALL_TIME means.
  const auto [startDate, startTime] = placed(start);
  const auto [endDate, endTime] = placed(end);
  UErrorCode status = U_ZERO_ERROR;
  zone->setStartRule(startDate.month, startDate.day, startDate.weekday, startTime * 1000,
                     icu::SimpleTimeZone::WALL_TIME, status);
  zone->setEndRule(endDate.month, endDate.day, endDate.weekday, endTime * 1000, icu::SimpleTimeZone::WALL_TIME,
                   status);
  zone->setDSTSavings(savings * 1000, status);
  if (U_FAILURE(status)) return nullptr;
  return zone;
}

std::unique_ptr<icu::TimeZone> timeZoneFromTz(const char* tz) {
  if (tz == nullptr || *tz == '\0') return std::unique_ptr<icu::TimeZone>(icu::TimeZone::detectHostTimeZone());
  std::string_view value(tz);
  std::string_view olson = value.front() == ':' ? value.substr(1) : value;
  if (!olson.empty() && olson.size() <= 255) {  // no Olson id comes near
    // Only ICU's system zones count: ICU also reads custom ids such as
    // "GMT+5", with the sign the other way round from a TZ rule.
    const icu::UnicodeString id = fromUtf8(olson);
    icu::UnicodeString canonical;
    UBool isSystemId = false;
    UErrorCode status = U_ZERO_ERROR;
    icu::TimeZone::getCanonicalID(id, canonical, isSystemId, status);
    if (U_SUCCESS(status) && isSystemId) return std::unique_ptr<icu::TimeZone>(icu::TimeZone::createTimeZone(id));
  }
  if (auto zone = timeZoneFromPosixRule(value)) return zone;
  return std::unique_ptr<icu::TimeZone>(icu::TimeZone::createTimeZone(UNICODE_STRING_SIMPLE("UTC")));
}

}  // namespace tessaro::platform
