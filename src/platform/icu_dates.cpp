// ICU side of the date commands: one SimpleDateFormat per pattern, calendars
// made with the default locale and time zone, and the re-reading of those
// defaults from the environment.
#include "platform/icu_dates.hpp"

#include "platform/posix_time_zone.hpp"

#include <unicode/calendar.h>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <initializer_list>
#include <limits>

namespace tessaro::platform {

namespace {

// A read-only ICU alias of UTF-16 text (no copy, no re-encoding); no value
// when the text is longer than ICU's 32-bit lengths allow.
std::optional<icu::UnicodeString> alias(std::u16string_view text) {
  if (text.size() > std::size_t(std::numeric_limits<int32_t>::max())) return std::nullopt;
  return icu::UnicodeString(false, text.data(), int32_t(text.size()));
}

const char* firstSetVariable(std::initializer_list<const char*> names) {
  for (const char* name : names) {
    const char* value = std::getenv(name);
    if (value && *value) return value;
  }
  return "";
}

// A calendar in the defaults that refuses dates outside its range instead of
// clamping them, positioned at `secondsSince2001`; null when it cannot be.
std::unique_ptr<icu::Calendar> calendarAt(double secondsSince2001) {
  if (!std::isfinite(secondsSince2001)) return nullptr;
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::Calendar> calendar(icu::Calendar::createInstance(status));
  if (U_FAILURE(status) || !calendar) return nullptr;
  calendar->setLenient(false);
  calendar->setTime(toUDate(secondsSince2001), status);
  if (U_FAILURE(status)) return nullptr;
  return calendar;
}

}  // namespace

std::string icuLocaleFromPosix(std::string_view posixName) {
  std::string_view name = posixName;
  std::string_view modifier;
  if (auto at = name.find('@'); at != std::string_view::npos) {
    modifier = name.substr(at + 1);
    name = name.substr(0, at);
  }
  if (auto dot = name.find('.'); dot != std::string_view::npos) name = name.substr(0, dot);
  if (name.empty() || name == "C" || name == "POSIX") return "en_US_POSIX";
  std::string id(name);
  // ICU keywords ride along; a POSIX modifier such as "@euro" names no ICU
  // locale feature.
  if (modifier.find('=') != std::string_view::npos) {
    id += '@';
    id += modifier;
  }
  return id;
}

void resetDateDefaultsFromEnvironment() {
  tzset();
  icu::TimeZone::adoptDefault(timeZoneFromTz(std::getenv("TZ")).release());
  std::string id = icuLocaleFromPosix(firstSetVariable({"LC_ALL", "LANG"}));
  UErrorCode status = U_ZERO_ERROR;
  icu::Locale::setDefault(icu::Locale(id.c_str()), status);
}

// ---------------------------------------------------------------------------

struct DateFormatter::Impl {
  std::unique_ptr<icu::SimpleDateFormat> format;
  // The formatter's own calendar setup (calendar type, zone, strictness),
  // reused for each date formatted so that a date out of range is seen.
  std::unique_ptr<icu::Calendar> calendar;
};

DateFormatter::DateFormatter(std::u16string_view pattern) : impl_(std::make_unique<Impl>()) {
  auto icuPattern = alias(pattern);
  if (!icuPattern) return;
  UErrorCode status = U_ZERO_ERROR;
  auto format = std::make_unique<icu::SimpleDateFormat>(*icuPattern, status);
  if (U_FAILURE(status)) return;
  format->setLenient(false);
  std::unique_ptr<icu::Calendar> calendar(format->getCalendar()->clone());
  if (!calendar) return;
  impl_->format = std::move(format);
  impl_->calendar = std::move(calendar);
}

DateFormatter::~DateFormatter() = default;

std::optional<double> DateFormatter::parse(std::u16string_view text) const {
  if (!impl_->format) return std::nullopt;
  auto icuText = alias(text);
  if (!icuText) return std::nullopt;
  icu::ParsePosition position(0);
  UDate date = impl_->format->parse(*icuText, position);
  // An index still at 0 is ICU's sign of failure too, so an empty text
  // never parses, even with an empty pattern.
  if (position.getErrorIndex() >= 0 || position.getIndex() == 0 || position.getIndex() != icuText->length())
    return std::nullopt;
  return fromUDate(date);
}

std::optional<std::u16string> DateFormatter::format(double secondsSince2001) const {
  if (!impl_->format || !std::isfinite(secondsSince2001)) return std::nullopt;
  UErrorCode status = U_ZERO_ERROR;
  impl_->calendar->setTime(toUDate(secondsSince2001), status);
  if (U_FAILURE(status)) return std::nullopt;
  icu::UnicodeString text;
  icu::FieldPosition ignored;
  impl_->format->format(*impl_->calendar, text, ignored);
  return std::u16string(text.getBuffer(), std::size_t(text.length()));
}

// ---------------------------------------------------------------------------

std::optional<std::array<std::int64_t, 4>> calendarComponents(double secondsSince2001,
                                                              const std::array<CalendarField, 4>& fields) {
  // The calendar reads the whole second and the fraction is taken apart, so
  // that rounding in the conversion to milliseconds cannot carry the fields
  // into the next second while the fraction stays just below 1.
  const double wholeSeconds = std::floor(secondsSince2001);
  auto calendar = calendarAt(wholeSeconds);
  if (!calendar) return std::nullopt;
  std::array<std::int64_t, 4> values{};
  UErrorCode status = U_ZERO_ERROR;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    switch (fields[i]) {
      case CalendarField::era: values[i] = calendar->get(UCAL_ERA, status); break;
      case CalendarField::year: values[i] = calendar->get(UCAL_YEAR, status); break;
      case CalendarField::month: values[i] = std::int64_t(calendar->get(UCAL_MONTH, status)) + 1; break;
      case CalendarField::day: values[i] = calendar->get(UCAL_DATE, status); break;
      case CalendarField::yearForWeekOfYear: values[i] = calendar->get(UCAL_YEAR_WOY, status); break;
      case CalendarField::weekOfYear: values[i] = calendar->get(UCAL_WEEK_OF_YEAR, status); break;
      case CalendarField::weekday: values[i] = calendar->get(UCAL_DAY_OF_WEEK, status); break;
      case CalendarField::hour: values[i] = calendar->get(UCAL_HOUR_OF_DAY, status); break;
      case CalendarField::minute: values[i] = calendar->get(UCAL_MINUTE, status); break;
      case CalendarField::second: values[i] = calendar->get(UCAL_SECOND, status); break;
      case CalendarField::nanosecond: {
        // ICU's calendars stop at whole milliseconds. Zone offsets are whole
        // seconds, so the fraction is the same in every zone.
        double fraction = secondsSince2001 - wholeSeconds;
        values[i] = std::min<std::int64_t>(std::llround(fraction * 1e9), 999999999);
        break;
      }
    }
  }
  if (U_FAILURE(status)) return std::nullopt;
  return values;
}

std::optional<double> composeDate(const CalendarFields& fields) {
  // ICU's calendars hold about 5.8 million years either side of 1970 and do
  // their day arithmetic in 32 bits, which wraps silently for fields much
  // larger than that. Fields that add up to more than five million years are
  // refused before they reach it.
  double years = std::fabs(double(fields.year)) + std::fabs(double(fields.month)) / 12 +
                 std::fabs(double(fields.day)) / 365 + std::fabs(double(fields.hour)) / (24 * 365) +
                 std::fabs(double(fields.minute)) / (60 * 24 * 365) +
                 std::fabs(double(fields.second)) / (60 * 60 * 24 * 365);
  if (years > 5e6) return std::nullopt;
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::Calendar> calendar(icu::Calendar::createInstance(status));
  if (U_FAILURE(status) || !calendar) return std::nullopt;
  calendar->clear();
  // Months count from 0 in ICU. The calendar stays lenient, so fields past
  // their range carry into the next larger field.
  std::int32_t month0 = fields.month == std::numeric_limits<std::int32_t>::min() ? fields.month : fields.month - 1;
  calendar->set(fields.year, month0, fields.day, fields.hour, fields.minute, fields.second);
  UDate date = calendar->getTime(status);
  if (U_FAILURE(status)) return std::nullopt;
  return fromUDate(date);
}

}  // namespace tessaro::platform
