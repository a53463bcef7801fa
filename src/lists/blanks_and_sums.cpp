// Cleaning and summarising lists: blank items, numbered series of strings
// from a pattern, replacing nulls, and the sum, maximum and minimum.
#include <algorithm>
#include <limits>

#include <unicode/numberformatter.h>

#include "bridge/unicode.hpp"
#include "lists/list_support.hpp"
#include "tessaro/krv_forder.hpp"

namespace tessaro {

// Blank: null, the empty string, or a list whose items are all blank (an
// empty list included), to any depth. A string of spaces is not blank.
bool KRVForder::KRV_itemIsAnEmpty_(const Value& item) {
  if (item.isNull()) return true;
  if (item.isString()) return item.asString().empty();
  if (!item.isList()) return false;
  for (const Value& inner : item.asList())
    if (!KRV_itemIsAnEmpty_(inner)) return false;
  return true;
}

Value KRVForder::arrayByDeletingBlanksIn_(const Value& list) {
  std::span<const Value> items = lists::itemsOf(list);
  std::vector<Value> kept;
  kept.reserve(items.size());
  for (const Value& item : items)
    if (!KRV_itemIsAnEmpty_(item)) kept.push_back(item);
  return Value::list(std::move(kept));
}

namespace {

// The items without the run of blanks at the end, and at the start too when
// `bothEnds` is set. Blanks between other items stay.
Value trimBlanks(const Value& list, bool bothEnds) {
  std::span<const Value> items = lists::itemsOf(list);
  std::size_t end = items.size();
  while (end > 0 && KRVForder::KRV_itemIsAnEmpty_(items[end - 1])) --end;
  std::size_t begin = 0;
  if (bothEnds)
    while (begin < end && KRVForder::KRV_itemIsAnEmpty_(items[begin])) ++begin;
  return Value::list(std::vector<Value>(items.begin() + std::ptrdiff_t(begin), items.begin() + std::ptrdiff_t(end)));
}

// More strings than this would only exhaust memory; the host list would fail
// the same way, sooner or later.
constexpr std::uint64_t kMostPatternItems = std::uint64_t(1) << 24;
constexpr std::uint64_t kMostPatternUnits = std::uint64_t(1) << 28;  // code units in all the strings

// ICU refuses minimum widths beyond this.
constexpr std::int64_t kMostDigits = 999;

std::u16string replaceMarker(std::u16string_view pattern, std::u16string_view number) {
  std::u16string out;
  out.reserve(pattern.size() + number.size());
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] == u'%' && i + 1 < pattern.size() && pattern[i + 1] == u'@') {
      out += number;
      ++i;
    } else {
      out += pattern[i];
    }
  }
  return out;
}

}  // namespace

Value KRVForder::arrayByTrimmingTrailingBlanksFrom_(const Value& list) { return trimBlanks(list, false); }
Value KRVForder::arrayByTrimmingBlanksFrom_(const Value& list) { return trimBlanks(list, true); }

Value KRVForder::arrayWithPattern_startNumber_endNumber_minDigits_(const Value& pattern, const Value& start,
                                                                   const Value& end, const Value& minDigits) {
  const std::int64_t s = start.integerValue(), e = end.integerValue();
  const std::int64_t digits = std::clamp<std::int64_t>(minDigits.integerValue(), 0, kMostDigits);
  if (!pattern.isString()) doesNotAnswer(pattern, "stringByReplacingOccurrencesOfString:withString:");
  const std::int64_t low = std::min(s, e), high = std::max(s, e);
  const std::uint64_t count = std::uint64_t(high) - std::uint64_t(low) + 1;  // 0 only for the whole 64-bit span
  // Every string is about the pattern with each marker replaced by a number
  // of at least `digits` digits (and at most 20 characters more).
  std::uint64_t markers = 0;
  const std::u16string_view text = pattern.asString();
  for (std::size_t i = 0; i + 1 < text.size(); ++i)
    if (text[i] == u'%' && text[i + 1] == u'@') ++markers, ++i;
  const std::uint64_t eachString = text.size() + markers * std::uint64_t(std::max<std::int64_t>(digits, 20));
  if (count == 0 || count > kMostPatternItems || count * eachString > kMostPatternUnits)
    throwFailure(FailureKind::invalidArgument, "a series of " + std::to_string(std::uint64_t(high) - std::uint64_t(low)) +
                                                   " strings and one more is too long to make");

  // Digits and sign follow the current locale; no grouping separators.
  UErrorCode status = U_ZERO_ERROR;
  icu::number::LocalizedNumberFormatter formatter =
      icu::number::NumberFormatter::withLocale(icu::Locale::getDefault())
          .grouping(UNUM_GROUPING_OFF)
          .integerWidth(icu::number::IntegerWidth::zeroFillTo(int32_t(digits)));
  std::vector<Value> out;
  out.reserve(count);
  for (std::uint64_t i = 0; i < count; ++i) {
    const std::int64_t n = std::int64_t(std::uint64_t(low) + i);
    icu::UnicodeString number = formatter.formatInt(n, status).toString(status);
    if (U_FAILURE(status)) throwFailure(FailureKind::invalidArgument, "the number formatter failed");
    out.push_back(Value::string(replaceMarker(text, viewOf(number))));
  }
  // Counting down from start to end when the end is the smaller.
  if (e < s) std::reverse(out.begin(), out.end());
  return Value::list(std::move(out));
}

Value KRVForder::arrayByReplacingNullsIn_withItem_(const Value& list, const Value& item) {
  std::span<const Value> items = lists::itemsOf(list);
  std::vector<Value> out(items.begin(), items.end());
  for (Value& v : out) {
    if (!v.isNull()) continue;
    if (item.isNothing()) throwFailure(FailureKind::invalidArgument, "cannot put no value into a list");
    v = item;
  }
  return Value::list(std::move(out));
}

Value KRVForder::sumMaxMinOf_error_(const Value& list, CommandError* error) {
  std::span<const Value> items = lists::itemsOf(list);
  // The maximum deliberately starts at the smallest positive double, not
  // the most negative one: a list of only negative numbers (or an empty
  // list) reports that tiny positive number as its maximum.
  double sum = 0.0, most = std::numeric_limits<double>::min(), least = std::numeric_limits<double>::max();
  for (const Value& item : items) {
    if (!item.isNumber()) return lists::failed(error, "List item is not a number.");
    const double d = item.doubleValue();
    sum += d;
    most = std::max(most, d);
    least = std::min(least, d);
  }
  return Value::list({Value::real(sum), Value::real(most), Value::real(least)});
}

}  // namespace tessaro
