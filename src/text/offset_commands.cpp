// Conversions between composed-character indexes (from 1) and UTF-16
// positions (from 0). Each walks the composed characters from the start and
// stops as soon as it has its answer. Position tests are unsigned, so a
// negative position lies in no character; the range conversion keeps the
// host's results for ranges that end inside a character or at the end of
// the text (see offsetsOfRange_inString_).
#include <cstdint>
#include <limits>

#include "registry/subsystems.hpp"
#include "tessaro/krv_forder.hpp"
#include "tessaro/registry.hpp"
#include "text/pieces.hpp"
#include "text/segments.hpp"

namespace tessaro {

namespace {

constexpr std::int64_t kNotFound = std::numeric_limits<std::int64_t>::max();

// Whether position p lies in the character that starts at s and is n units
// long; unsigned, so that p below s wraps round and fails the test.
constexpr bool liesIn(std::uint64_t p, std::uint64_t s, std::uint64_t n) noexcept { return p - s < n; }

// Calls visit(index, location, length) for each composed character until it
// returns false.
template <class Visit>
void forEachCharacter(const Value& textValue, Visit&& visit) {
  std::u16string_view text = text::textArgument(textValue);
  std::int64_t index = 0;
  text::forEachPiece(text, text::TextUnit::composedCharacters, false,
                     [&](std::size_t location, std::size_t length) { return visit(++index, location, length); });
}

// The character with the given index, as a range; location kNotFound when
// there is none.
Range characterAt(const Value& indexValue, const Value& text) {
  const std::int64_t wanted = indexValue.integerValue();
  Range found{std::uint64_t(kNotFound), 0};
  if (wanted < 1) return found;  // no character has it; the walk would say the same
  forEachCharacter(text, [&](std::int64_t index, std::size_t location, std::size_t length) {
    if (index != wanted) return true;
    found = Range{location, length};
    return false;
  });
  return found;
}

}  // namespace

Value KRVForder::locationOfCharacterAt_inString_(const Value& index, const Value& text) {
  return Value::integer(std::int64_t(characterAt(index, text).location));
}

Value KRVForder::rangeOfCharacterAt_inString_(const Value& index, const Value& text) {
  Range r = characterAt(index, text);
  return Value::range(r.location, r.length);
}

Value KRVForder::offsetOfLocation_inString_(const Value& locationValue, const Value& text) {
  const auto position = std::uint64_t(locationValue.integerValue());
  std::int64_t result = 0;
  forEachCharacter(text, [&](std::int64_t index, std::size_t location, std::size_t length) {
    if (!liesIn(position, location, length)) return true;
    result = index;
    return false;
  });
  return Value::integer(result);
}

// First and last character index of a range. The last index is the one
// before the character that holds the range's end, or that character itself
// when the range starts and ends in it; so an empty range gives one less
// than its first, a range ending inside a later character leaves that
// character out, and a range reaching the end of the text (where no
// character holds its end) leaves the last index 0.
Value KRVForder::offsetsOfRange_inString_(const Value& rangeValue, const Value& text) {
  Range range;  // no value reads as the empty range at 0
  if (rangeValue.kind() == ValueKind::range)
    range = rangeValue.asRange();
  else if (!rangeValue.isNothing())
    doesNotAnswer(rangeValue, "rangeValue");
  const std::uint64_t start = range.location, length = range.length, end = start + length;
  std::int64_t first = 0, last = 0;
  forEachCharacter(text, [&](std::int64_t index, std::size_t location, std::size_t size) {
    if (first == 0 && liesIn(start, location, size)) {
      first = index;
      if (length == 0) {
        last = index - 1;
        return false;
      }
      if (liesIn(end, location, size)) {
        last = index;
        return false;
      }
      return true;
    }
    if (liesIn(end, location, size)) {
      last = index - 1;
      return false;
    }
    return true;
  });
  return Value::list({Value::integer(first), Value::integer(last)});
}

void registerOffsetCommands(Registry& r) {
  r.add<&KRVForder::locationOfCharacterAt_inString_>("locationOfCharacterAt:inString:");
  r.add<&KRVForder::rangeOfCharacterAt_inString_>("rangeOfCharacterAt:inString:");
  r.add<&KRVForder::offsetOfLocation_inString_>("offsetOfLocation:inString:");
  r.add<&KRVForder::offsetsOfRange_inString_>("offsetsOfRange:inString:");
}

}  // namespace tessaro
