// Date commands: lists of strings and dates converted with a date pattern,
// calendar components of one date, and an "ldt " descriptor built from the
// numbers in a string. A date argument is a host date or a raw "ldt "
// descriptor.
//
// Arguments of the wrong kind fail as they would on the host, where each is
// sent a message it does not answer: an unrecognizedSelector failure. No value
// reads as the host's nil does when messaged: a nil list has no items, a nil
// pattern is empty, a nil date is the reference date and a nil string is
// empty.
#include <unicode/uchar.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "bridge/long_date.hpp"
#include "platform/icu_dates.hpp"
#include "tessaro/krv_forder.hpp"

namespace tessaro {

namespace {

// Calls `f` with each item of a list, or each key of a record (a dictionary
// enumerates its keys), and collects the results into a list of the same
// length.
template <class F>
Value mapItems(const Value& items, F f) {
  std::vector<Value> out;
  switch (items.kind()) {
    case ValueKind::nothing:
      break;
    case ValueKind::list:
      out.reserve(items.asList().size());
      for (const Value& item : items.asList()) out.push_back(f(item));
      break;
    case ValueKind::record:
      out.reserve(items.asRecord().size());
      for (const auto& entry : items.asRecord().entries()) out.push_back(f(entry.first));
      break;
    default:
      doesNotAnswer(items, "countByEnumeratingWithState:objects:count:");
  }
  return Value::list(std::move(out));
}

std::u16string_view patternOf(const Value& format) {
  if (format.isNothing()) return {};
  if (!format.isString()) doesNotAnswer(format, "length");
  return format.asString();
}

// The date of a component command's argument: any descriptor is read as an
// "ldt " payload.
double componentDate(const Value& date) {
  switch (date.kind()) {
    case ValueKind::date:
      return date.asDate();
    case ValueKind::descriptor:
      return dateFromLongDatePayload(date.asDescriptor().data());
    case ValueKind::nothing:
      return 0;
    default:
      doesNotAnswer(date, "timeIntervalSinceReferenceDate");
  }
}

Value components(const Value& date, const std::array<platform::CalendarField, 4>& fields) {
  auto values = platform::calendarComponents(componentDate(date), fields);
  if (!values) return Value();
  return Value::list({Value::integer((*values)[0]), Value::integer((*values)[1]), Value::integer((*values)[2]),
                      Value::integer((*values)[3])});
}

// Up to `max` runs of decimal digits (any script's), each read as a number
// saturating at the largest 32-bit integer.
std::vector<std::int32_t> scanNumbers(std::u16string_view text, std::size_t max) {
  std::vector<std::int32_t> numbers;
  bool inRun = false;
  std::int64_t current = 0;
  const std::int64_t limit = std::numeric_limits<std::int32_t>::max();
  std::size_t i = 0;
  while (i < text.size() && numbers.size() < max) {
    UChar32 c;
    U16_NEXT(text.data(), i, text.size(), c);
    int32_t digit = u_isdigit(c) ? u_charDigitValue(c) : -1;
    if (digit >= 0) {
      current = std::min(current * 10 + digit, limit);
      inRun = true;
    } else if (inRun) {
      numbers.push_back(std::int32_t(current));
      current = 0;
      inRun = false;
    }
  }
  if (inRun && numbers.size() < max) numbers.push_back(std::int32_t(current));
  return numbers;
}

}  // namespace

Value KRVForder::datesFromStrings_format_(const Value& strings, const Value& format) {
  platform::DateFormatter formatter(patternOf(format));
  return mapItems(strings, [&](const Value& item) {
    if (!item.isString()) return Value::null();
    auto date = formatter.parse(item.asString());
    return date ? Value::date(*date) : Value::null();
  });
}

Value KRVForder::stringsFromDates_format_(const Value& dates, const Value& format) {
  platform::DateFormatter formatter(patternOf(format));
  return mapItems(dates, [&](const Value& item) {
    std::optional<std::u16string> text;
    if (item.isDate()) {
      text = formatter.format(item.asDate());
    } else if (item.isDescriptor() && item.asDescriptor().type() == codes::longDateTime) {
      text = formatter.format(dateFromLongDatePayload(item.asDescriptor().data()));
    }
    return text ? Value::string(std::move(*text)) : Value::null();
  });
}

Value KRVForder::dateValuesFrom_(const Value& date) {
  using F = platform::CalendarField;
  return components(date, {F::era, F::year, F::month, F::day});
}

Value KRVForder::extraDateValuesFrom_(const Value& date) {
  using F = platform::CalendarField;
  return components(date, {F::era, F::yearForWeekOfYear, F::weekOfYear, F::weekday});
}

Value KRVForder::timeValuesFrom_(const Value& date) {
  using F = platform::CalendarField;
  return components(date, {F::hour, F::minute, F::second, F::nanosecond});
}

Value KRVForder::KRV_fordDateFromString_(const Value& string) {
  std::u16string_view text;
  if (string.isString()) {
    text = string.asString();
  } else if (!string.isNothing()) {
    doesNotAnswer(string, "characterAtIndex:");
  }
  std::vector<std::int32_t> numbers = scanNumbers(text, 6);
  platform::CalendarFields fields;
  std::int32_t* slots[] = {&fields.year, &fields.month, &fields.day, &fields.hour, &fields.minute, &fields.second};
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    // Year, month and day have no 0; a 0 there means the first one.
    *slots[i] = (i < 3 && numbers[i] == 0) ? 1 : numbers[i];
  }
  auto date = platform::composeDate(fields);
  if (!date) return Value();
  return Value::descriptor(longDateFromDate(*date));
}

}  // namespace tessaro
