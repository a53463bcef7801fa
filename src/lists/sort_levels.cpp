// Sorting by levels with keys made once per item (see sort_levels.hpp).
#include "lists/sort_levels.hpp"

#include <algorithm>
#include <array>
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

// Sort keys are byte strings that end at their only zero byte.
int compareKeys(const std::uint8_t* a, const std::uint8_t* b) noexcept {
  return sign(std::strcmp(reinterpret_cast<const char*>(a), reinterpret_cast<const char*>(b)));
}

// Order-preserving prefixes: the integer with its sign bit flipped, the
// first four code units, the first eight sort-key bytes; short texts and keys
// are padded with zeros, which sort before anything they could be cut from.
std::uint64_t integerPrefix(std::int64_t i) noexcept { return std::uint64_t(i) ^ (std::uint64_t(1) << 63); }

std::uint64_t textPrefix(const char16_t* text, std::size_t length) noexcept {
  std::uint64_t p = 0;
  for (std::size_t k = 0; k < 4; ++k) p = p << 16 | (k < length ? text[k] : 0);
  return p;
}

std::uint64_t bytesPrefix(const std::uint8_t* bytes, std::size_t length) noexcept {
  std::uint64_t p = 0;
  for (std::size_t k = 0; k < 8; ++k) p = p << 8 | (k < length ? bytes[k] : 0);
  return p;
}

// Text that the standard comparison's collator tells apart from every other
// such text at tertiary strength, unless its locale ignores spaces and
// punctuation: printable Latin-1 without digits (which compare by numeric
// value, so "02" and "2" are alike) and without the ignorable soft hyphen.
// Only such text goes without the further level of code units.
bool isPlain(std::u16string_view text) noexcept {
  for (char16_t c : text) {
    const bool printable = (c >= 0x20 && c <= 0x7E) || (c >= 0xA0 && c <= 0xFF);
    if (!printable || (c >= u'0' && c <= u'9') || c == 0xAD) return false;
  }
  return true;
}

// A stable sort of entries by the byte strings they point to (ICU sort keys,
// which end at their only zero byte), eight bytes at a time: the entries are
// ordered by their current eight bytes as whole numbers, and each run of
// entries with equal bytes that do not yet hold the end of the key goes on
// to the next eight. No comparison goes back to the first byte, as a
// comparison of whole keys does for every pair that shares a long start,
// and large runs are ordered by counting, not comparing. Runs of equal keys
// are handed to `tied`, which orders them by the levels that follow.
template <class E>
struct KeyByteSort {
  const std::uint8_t* base;
  bool descending;
  std::vector<E> scratch;
  static constexpr std::size_t kDeepest = 256;

  static bool holdsEnd(std::uint64_t bytes) noexcept {
    constexpr std::uint64_t ones = 0x0101010101010101ULL, highs = 0x8080808080808080ULL;
    return ((bytes - ones) & ~bytes & highs) != 0;
  }

  // The eight bytes at `depth` of the key at `offset`, which is known to be
  // at least `depth` bytes long before its end.
  std::uint64_t bytesAt(std::uint32_t offset, std::size_t depth) const noexcept {
    const std::uint8_t* p = base + offset + depth;
    std::uint64_t v = 0;
    std::size_t k = 0;
    for (; k < 8 && p[k]; ++k) v = v << 8 | p[k];
    if (k < 8) v = k ? v << 8 * (8 - k) : 0;
    return descending ? ~v : v;
  }

  template <class Tied>
  void sort(E* begin, E* end, std::size_t depth, const Tied& tied) {
    if (depth >= kDeepest) {
      // Long shared starts are rare; the rest of such keys is compared whole
      // rather than going deeper eight bytes at a time.
      auto rest = [&](const E& e) { return reinterpret_cast<const char*>(base + e.offset + depth); };
      auto order = [&](const E& a, const E& b) {
        const int c = std::strcmp(rest(a), rest(b));
        return descending ? c > 0 : c < 0;
      };
      std::stable_sort(begin, end, order);
      for (E* run = begin; run != end;) {
        E* next = run + 1;
        while (next != end && !order(*run, *next)) ++next;
        if (next - run > 1) tied(run, next);
        run = next;
      }
      return;
    }
    orderByPrefix(begin, end);
    for (E* run = begin; run != end;) {
      E* next = run + 1;
      while (next != end && next->prefix == run->prefix) ++next;
      if (next - run > 1) {
        if (holdsEnd(descending ? ~run->prefix : run->prefix)) {
          tied(run, next);
        } else {
          for (E* e = run; e != next; ++e) e->prefix = bytesAt(e->offset, depth + 8);
          sort(run, next, depth + 8, tied);
        }
      }
      run = next;
    }
  }

  // Stable, by the whole 64-bit prefix.
  void orderByPrefix(E* begin, E* end) {
    const std::size_t n = std::size_t(end - begin);
    if (n <= 32) {
      for (E* i = begin + 1; i < end; ++i) {
        E moving = *i;
        E* j = i;
        for (; j > begin && moving.prefix < (j - 1)->prefix; --j) *j = *(j - 1);
        *j = moving;
      }
      return;
    }
    if (n < 2048) {
      std::stable_sort(begin, end, [](const E& a, const E& b) { return a.prefix < b.prefix; });
      return;
    }
    // Least significant byte first, skipping the bytes every entry shares.
    std::vector<std::array<std::uint32_t, 256>> counts(8);
    for (auto& c : counts) c.fill(0);
    for (const E* e = begin; e != end; ++e)
      for (int b = 0; b < 8; ++b) ++counts[std::size_t(b)][(e->prefix >> (8 * b)) & 0xFF];
    E* from = begin;
    E* to = scratch.data();
    for (int b = 0; b < 8; ++b) {
      auto& c = counts[std::size_t(b)];
      if (c[(begin->prefix >> (8 * b)) & 0xFF] == n) continue;
      std::uint32_t at = 0;
      for (auto& slot : c) {
        const std::uint32_t k = slot;
        slot = at;
        at += k;
      }
      for (const E* e = from; e != from + n; ++e) to[c[(e->prefix >> (8 * b)) & 0xFF]++] = *e;
      std::swap(from, to);
    }
    if (from != begin) std::copy(from, from + n, begin);
  }
};

}  // namespace

// Appends the collator's sort key of `text` to the level's key bytes (grown
// without being cleared first: every byte is written before it is read) and
// returns its length.
std::uint32_t SortLevels::Level::appendSortKey(const UCollator* collator, std::u16string_view text) {
  auto ensure = [this](std::size_t room) {
    if (sortKeyBytes + room <= sortKeyRoom) return;
    // Room for a typical key per item at once: pages that are never
    // written are never touched.
    std::size_t grown = std::max({sortKeyRoom * 2, sortKeyBytes + room, keys.capacity() * 64});
    std::unique_ptr<std::uint8_t[]> larger(new std::uint8_t[grown]);
    if (sortKeyBytes) std::memcpy(larger.get(), sortKeys.get(), sortKeyBytes);
    sortKeys = std::move(larger);
    sortKeyRoom = grown;
  };
  // Most keys fit in this; a longer one is asked for again at its length.
  // The standard comparison's further level takes three bytes a unit and a
  // terminator more.
  const std::size_t extra = comparison == Comparison::localizedStandard ? text.size() * 3 + 1 : 0;
  std::size_t room = text.size() * 4 + 16;
  ensure(room + extra);
  int32_t n = ucol_getSortKey(collator, text.data(), int32_t(text.size()), sortKeys.get() + sortKeyBytes, int32_t(room));
  if (std::size_t(n) > room) {
    room = std::size_t(n);
    ensure(room + extra);
    n = ucol_getSortKey(collator, text.data(), int32_t(text.size()), sortKeys.get() + sortKeyBytes, n);
  }
  if (n <= 0) {  // the collator failed: an empty key
    sortKeys[sortKeyBytes] = 0;
    n = 1;
  }
  if (comparison != Comparison::localizedStandard || (plainTextIsDistinct && isPlain(text))) {
    sortKeyBytes += std::size_t(n);
    return std::uint32_t(n);
  }
  // The fixed final ordering: the code units themselves, as a further level
  // of the key. The collator's terminating zero becomes a level separator
  // (1, below every weight byte, as ICU's own separators are) and each unit
  // follows as three bytes of 7, 7 and 2 bits plus one, so that no byte is
  // zero and the key still ends at its only zero byte. The units are reached
  // only when two collator keys are equal, so the keys compare as byte
  // strings with no tie-break of their own. A plain string has no such
  // level: no other plain string has its collator key, and its key ends
  // before the others' further level, so it comes first among them.
  const std::size_t icuPart = std::size_t(n) - 1;
  std::uint8_t* out = sortKeys.get() + sortKeyBytes + icuPart;
  *out++ = 1;
  for (char16_t unit : text) {
    *out++ = std::uint8_t((unit >> 9) + 1);
    *out++ = std::uint8_t(((unit >> 2) & 0x7F) + 1);
    *out++ = std::uint8_t((unit & 0x3) + 1);
  }
  *out++ = 0;
  const std::size_t length = std::size_t(out - (sortKeys.get() + sortKeyBytes));
  sortKeyBytes += length;
  return std::uint32_t(length);
}

void SortLevels::add(Comparison comparison, bool ascending, const ValueOf& valueOf, bool noValueFirst) {
  auto level = std::make_unique<Level>();
  level->comparison = comparison;
  level->ascending = ascending;
  level->noValueFirst = noValueFirst;
  level->keys.reserve(count_);  // each key is written once, as it is made
  Collator collator;
  // Keys into the folded text or the sort keys hold their offsets until the
  // storage is complete and no longer moves; then they get their pointers.
  bool anyOffsets = false;

  bool uniform = true;
  for (std::size_t i = 0; i < count_; ++i) {
    Key& key = level->keys.emplace_back();
    const Value* v = nullptr;
    try {
      v = valueOf(i, level->kept);
    } catch (const HostFailure& failure) {
      key.tag = Tag::failed;
      key.failure = level->failures.size();
      level->failures.push_back(failure);
    }
    if (key.tag != Tag::failed) {
      key.value = v;  // kept by other values and no value; the rest replace it
      if (v->isNothing()) {
        key.tag = Tag::nothing;
      } else if (comparison == Comparison::natural) {
        if (v->kind() == ValueKind::integer) {
          key.tag = Tag::integer;
          key.integer = v->integerValue();
          key.prefix = integerPrefix(key.integer);
        } else if (v->isString()) {
          key.tag = Tag::text;
          key.text = v->asString().data();
          key.length = std::uint32_t(v->asString().size());
          key.prefix = textPrefix(key.text, key.length);
        }
      } else if (v->isString()) {
        anyOffsets = true;
        if (comparison == Comparison::caseInsensitive) {
          const std::size_t at = level->folded.size();
          appendCaseFolded(v->asString(), level->folded);
          key.tag = Tag::text;
          key.integer = std::int64_t(at);
          key.length = std::uint32_t(level->folded.size() - at);
          key.prefix = textPrefix(level->folded.data() + at, key.length);
        } else {
          if (!collator) {
            collator = openCollator(comparison);
            // A locale whose collation ignores spaces and punctuation
            // (alternate handling "shifted") finds plain texts alike too.
            UErrorCode status = U_ZERO_ERROR;
            level->plainTextIsDistinct =
                ucol_getAttribute(collator.get(), UCOL_ALTERNATE_HANDLING, &status) == UCOL_NON_IGNORABLE &&
                U_SUCCESS(status);
          }
          const std::size_t at = level->sortKeyBytes;
          key.tag = Tag::sortKey;
          key.integer = std::int64_t(at);
          key.length = level->appendSortKey(collator.get(), v->asString());
          key.prefix = bytesPrefix(level->sortKeys.get() + at, key.length);
        }
      }
    }
    uniform = uniform && key.tag == level->keys[0].tag;
  }
  if (count_ && uniform) level->uniformTag = level->keys[0].tag;
  if (anyOffsets) {
    for (Key& key : level->keys) {
      const std::size_t at = std::size_t(key.integer);
      if (comparison == Comparison::caseInsensitive && key.tag == Tag::text)
        key.text = level->folded.data() + at;
      else if (key.tag == Tag::sortKey)
        key.bytes = level->sortKeys.get() + at;
    }
  }
  levels_.push_back(std::move(level));
}

int SortLevels::compareNatural(const Level& level, const Key& a, const Key& b) {
  if (a.tag == Tag::integer && b.tag == Tag::integer) return a.integer < b.integer ? -1 : a.integer > b.integer ? 1 : 0;
  if (a.tag == Tag::text && b.tag == Tag::text) {
    if (a.prefix != b.prefix) return a.prefix < b.prefix ? -1 : 1;
    return compareUnits({a.text, a.length}, {b.text, b.length});
  }
  if (a.tag == Tag::failed) throw level.failures[a.failure];
  if (b.tag == Tag::failed) throw level.failures[b.failure];
  if (level.noValueFirst && (a.tag == Tag::nothing || b.tag == Tag::nothing))
    return (b.tag == Tag::nothing) - (a.tag == Tag::nothing);
  return valueFor(a).compare(valueFor(b));  // fails for values that cannot be ordered
}

// The value a natural-ordering key stands for, made again for the rare
// comparison of an integer or a string with a value of another kind.
Value SortLevels::valueFor(const Key& key) {
  switch (key.tag) {
    case Tag::integer: return Value::integer(key.integer);
    case Tag::text: return Value::string({key.text, key.length});
    default: return *key.value;
  }
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
  if (a.prefix != b.prefix) return a.prefix < b.prefix ? -1 : 1;
  if (a.tag == Tag::text) return compareUnits({a.text, a.length}, {b.text, b.length});
  return compareKeys(a.bytes, b.bytes);
}

int SortLevels::compareAt(const Level& level, std::uint32_t a, std::uint32_t b) const {
  const Key &ka = level.keys[a], &kb = level.keys[b];
  int c = level.comparison == Comparison::natural ? compareNatural(level, ka, kb) : compareText(level, ka, kb);
  return level.ascending ? c : -c;
}

bool SortLevels::less(std::size_t first, std::uint32_t a, std::uint32_t b) const {
  for (std::size_t l = first; l < levels_.size(); ++l) {
    int c = compareAt(*levels_[l], a, b);
    if (c != 0) return c < 0;
  }
  return false;
}

std::vector<std::uint32_t> SortLevels::order() const {
  if (count_ > std::numeric_limits<std::uint32_t>::max())
    throwFailure(FailureKind::invalidArgument, "too many items to sort");
  std::vector<std::uint32_t> positions(count_);
  std::iota(positions.begin(), positions.end(), std::uint32_t(0));
  if (levels_.empty()) return positions;

  const Level& first = *levels_[0];
  if (first.uniformTag != Tag::integer && first.uniformTag != Tag::text && first.uniformTag != Tag::sortKey) {
    std::stable_sort(positions.begin(), positions.end(),
                     [this](std::uint32_t a, std::uint32_t b) { return less(0, a, b); });
    return positions;
  }
  // Pairs of the first level's prefix and the position sort without
  // reaching for the keys until two prefixes are equal. A descending level
  // inverts its prefixes. An integer's prefix is the whole key, so equal
  // prefixes go straight on to the next level.
  struct Entry {
    std::uint64_t prefix;
    std::uint32_t position;
    std::uint32_t offset;  // of the sort key, for sort keys
  };
  std::vector<Entry> entries(count_);
  for (std::uint32_t i = 0; i < count_; ++i)
    entries[i] = {first.ascending ? first.keys[i].prefix : ~first.keys[i].prefix, i, 0};
  // Keys of one tag cannot fail to compare, so the first level's own
  // comparison is made here directly.
  const Key* keys = first.keys.data();
  const bool more = levels_.size() > 1;
  const int direction = first.ascending ? 1 : -1;
  auto restOf = [&](std::uint32_t a, std::uint32_t b, int c) {
    if (c != 0) return c * direction < 0;
    return more && less(1, a, b);
  };
  switch (first.uniformTag) {
    case Tag::integer:
      std::stable_sort(entries.begin(), entries.end(), [&](const Entry& a, const Entry& b) {
        if (a.prefix != b.prefix) return a.prefix < b.prefix;
        return more && less(1, a.position, b.position);
      });
      break;
    case Tag::text:
      std::stable_sort(entries.begin(), entries.end(), [&](const Entry& a, const Entry& b) {
        if (a.prefix != b.prefix) return a.prefix < b.prefix;
        const Key &ka = keys[a.position], &kb = keys[b.position];
        return restOf(a.position, b.position, compareUnits({ka.text, ka.length}, {kb.text, kb.length}));
      });
      break;
    default:
      // Sort keys: each entry also carries where its key starts, and the
      // keys are sorted eight bytes at a time (see sortByKeyBytes).
      if (first.sortKeyBytes <= std::numeric_limits<std::uint32_t>::max()) {
        const std::uint8_t* base = first.sortKeys.get();
        for (Entry& e : entries) e.offset = std::uint32_t(keys[e.position].bytes - base);
        KeyByteSort<Entry> byBytes{base, !first.ascending, std::vector<Entry>(entries.size())};
        byBytes.sort(entries.data(), entries.data() + entries.size(), 0, [&](Entry* from, Entry* to) {
          if (more)
            std::stable_sort(from, to, [&](const Entry& a, const Entry& b) { return less(1, a.position, b.position); });
        });
      } else {
        std::stable_sort(entries.begin(), entries.end(), [&](const Entry& a, const Entry& b) {
          if (a.prefix != b.prefix) return a.prefix < b.prefix;
          return restOf(a.position, b.position, compareKeys(keys[a.position].bytes, keys[b.position].bytes));
        });
      }
      break;
  }
  for (std::size_t i = 0; i < count_; ++i) positions[i] = entries[i].position;
  return positions;
}

}  // namespace tessaro::lists
