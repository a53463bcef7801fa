// Sorting by levels with keys made once per item (see sort_levels.hpp).
#include "lists/sort_levels.hpp"

#include <algorithm>
#include <cstring>
#include <limits>
#include <numeric>

namespace tessaro::lists {

namespace {

int sign(int c) noexcept { return (c > 0) - (c < 0); }

int compareUnits(std::u16string_view a, std::u16string_view b) noexcept {
  const std::size_t n = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < n; ++i)
    if (a[i] != b[i]) return a[i] < b[i] ? -1 : 1;
  return a.size() < b.size() ? -1 : a.size() > b.size() ? 1 : 0;
}

// ICU sort keys compare as byte strings.
int compareBytes(const std::uint8_t* a, std::size_t na, const std::uint8_t* b, std::size_t nb) noexcept {
  int c = std::memcmp(a, b, std::min(na, nb));
  if (c != 0) return sign(c);
  return na < nb ? -1 : na > nb ? 1 : 0;
}

// Appends the collator's sort key of `text` to `bytes`; returns its length.
std::uint32_t appendSortKey(const UCollator* collator, std::u16string_view text, std::vector<std::uint8_t>& bytes) {
  const std::size_t at = bytes.size();
  // Most keys fit in this; a longer one is asked for again at its length.
  std::size_t room = text.size() * 4 + 16;
  if (bytes.capacity() < at + room) bytes.reserve(std::max(bytes.capacity() * 2, at + room));
  bytes.resize(at + room);
  int32_t n = ucol_getSortKey(collator, text.data(), int32_t(text.size()), bytes.data() + at, int32_t(room));
  if (std::size_t(n) > room) {
    bytes.resize(at + std::size_t(n));
    n = ucol_getSortKey(collator, text.data(), int32_t(text.size()), bytes.data() + at, n);
  }
  bytes.resize(at + std::size_t(n));
  return std::uint32_t(n);
}

}  // namespace

void SortLevels::add(Comparison comparison, bool ascending, const ValueOf& valueOf, bool noValueFirst) {
  auto level = std::make_unique<Level>();
  level->comparison = comparison;
  level->ascending = ascending;
  level->noValueFirst = noValueFirst;
  level->keys.resize(count_);
  Collator collator;
  // Offsets into the folded text or the sort keys until both are complete;
  // pointers are set at the end, when the storage no longer moves.
  std::vector<std::size_t> offsets;

  for (std::size_t i = 0; i < count_; ++i) {
    Key& key = level->keys[i];
    const Value* v;
    try {
      v = valueOf(i, level->kept);
    } catch (const HostFailure& failure) {
      key.tag = Tag::failed;
      key.failure = level->failures.size();
      level->failures.push_back(failure);
      continue;
    }
    key.value = v;
    if (v->isNothing()) {
      key.tag = Tag::nothing;
      continue;
    }
    if (comparison == Comparison::natural) {
      if (v->kind() == ValueKind::integer || v->kind() == ValueKind::boolean) {
        key.tag = Tag::integer;
        key.integer = v->integerValue();
      } else if (v->isString()) {
        key.tag = Tag::text;
        key.text = v->asString().data();
        key.length = std::uint32_t(v->asString().size());
      }
      continue;
    }
    if (!v->isString()) continue;  // compared only to fail
    if (offsets.empty()) offsets.resize(count_);
    if (comparison == Comparison::caseInsensitive) {
      offsets[i] = level->folded.size();
      appendCaseFolded(v->asString(), level->folded);
      key.tag = Tag::text;
      key.length = std::uint32_t(level->folded.size() - offsets[i]);
    } else {
      if (!collator) collator = openCollator(comparison);
      offsets[i] = level->sortKeys.size();
      key.tag = Tag::sortKey;
      key.length = appendSortKey(collator.get(), v->asString(), level->sortKeys);
    }
  }
  if (!offsets.empty()) {
    for (std::size_t i = 0; i < count_; ++i) {
      Key& key = level->keys[i];
      if (comparison == Comparison::caseInsensitive && key.tag == Tag::text)
        key.text = level->folded.data() + offsets[i];
      else if (key.tag == Tag::sortKey)
        key.bytes = level->sortKeys.data() + offsets[i];
    }
  }
  levels_.push_back(std::move(level));
}

int SortLevels::compareNatural(const Level& level, const Key& a, const Key& b) {
  if (a.tag == Tag::integer && b.tag == Tag::integer) return a.integer < b.integer ? -1 : a.integer > b.integer ? 1 : 0;
  if (a.tag == Tag::text && b.tag == Tag::text) return compareUnits({a.text, a.length}, {b.text, b.length});
  if (a.tag == Tag::failed) throw level.failures[a.failure];
  if (b.tag == Tag::failed) throw level.failures[b.failure];
  if (level.noValueFirst && (a.tag == Tag::nothing || b.tag == Tag::nothing))
    return (b.tag == Tag::nothing) - (a.tag == Tag::nothing);
  return a.value->compare(*b.value);  // fails for values that cannot be ordered
}

int SortLevels::compareText(const Level& level, const Key& a, const Key& b) {
  if (a.tag == Tag::failed) throw level.failures[a.failure];
  if (b.tag == Tag::failed) throw level.failures[b.failure];
  // The first value is the one asked to compare itself with the second.
  if (a.tag != Tag::text && a.tag != Tag::sortKey) doesNotAnswer(*a.value, comparisonName(level.comparison));
  // A string handed something else to compare with asks it for text it
  // does not have: the same failure, whichever of the two the sort asks.
  if (b.tag != Tag::text && b.tag != Tag::sortKey)
    throwFailure(FailureKind::unrecognizedSelector, "cannot compare a string with a " +
                                                        std::string(kindName(b.value->kind())) + " value by " +
                                                        std::string(comparisonName(level.comparison)));
  if (a.tag == Tag::text) return compareUnits({a.text, a.length}, {b.text, b.length});
  int c = compareBytes(a.bytes, a.length, b.bytes, b.length);
  if (c == 0 && level.comparison == Comparison::localizedStandard)
    c = compareUnits(a.value->asString(), b.value->asString());
  return c;
}

int SortLevels::compareAt(const Level& level, std::uint32_t a, std::uint32_t b) const {
  const Key &ka = level.keys[a], &kb = level.keys[b];
  int c = level.comparison == Comparison::natural ? compareNatural(level, ka, kb) : compareText(level, ka, kb);
  return level.ascending ? c : -c;
}

std::vector<std::uint32_t> SortLevels::order() const {
  if (count_ > std::numeric_limits<std::uint32_t>::max())
    throwFailure(FailureKind::invalidArgument, "too many items to sort");
  std::vector<std::uint32_t> positions(count_);
  std::iota(positions.begin(), positions.end(), std::uint32_t(0));
  if (levels_.empty()) return positions;
  std::stable_sort(positions.begin(), positions.end(), [this](std::uint32_t a, std::uint32_t b) {
    for (const auto& level : levels_) {
      int c = compareAt(*level, a, b);
      if (c != 0) return c < 0;
    }
    return false;
  });
  return positions;
}

}  // namespace tessaro::lists
