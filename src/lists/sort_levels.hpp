// Stable sorting of items by levels: the first level that does not find two
// items equal decides, and items equal on every level keep their input
// order.
//
// Each level reads the value it compares once per item, before sorting, and
// turns it into a key that compares cheaply: integers and strings are held
// directly, the locale-aware comparisons keep one ICU sort key per item and
// the case-insensitive one a case-folded copy, so no text is converted per
// comparison. Every key also carries an order-preserving 64-bit prefix (the
// integer itself, or the first code units or sort-key bytes), so most
// comparisons are decided without leaving the key; when the first level's
// keys are all of one sort, the sort moves (prefix, position) pairs and
// reaches for the keys only when two prefixes are equal; sort keys are then
// ordered eight bytes at a time, large runs by counting. A value that could
// not be read (its key lookup or column access failed), or two values the
// comparison cannot order, fail only when the sort actually compares them,
// as a comparison made on demand would.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "lists/comparisons.hpp"
#include "tessaro/errors.hpp"
#include "tessaro/value.hpp"

namespace tessaro::lists {

class SortLevels {
 public:
  // Where a level's values come from: the value compared for item i, either
  // borrowed (it must outlive the sort) or put into `keep`. It may throw a
  // HostFailure, which is kept until the item is compared.
  using ValueOf = std::function<const Value*(std::size_t i, std::deque<Value>& keep)>;

  explicit SortLevels(std::size_t itemCount) : count_(itemCount) {}

  // `noValueFirst`: no value sorts before every value (the key sorts' rule);
  // otherwise no value cannot be compared.
  void add(Comparison comparison, bool ascending, const ValueOf& valueOf, bool noValueFirst = false);

  // The item positions in sorted order.
  std::vector<std::uint32_t> order() const;

  std::size_t levelCount() const noexcept { return levels_.size(); }

 private:
  enum class Tag : std::uint8_t { integer, text, sortKey, other, nothing, failed };
  struct Key {
    union {
      std::int64_t integer;
      const char16_t* text;       // a string's code units, or its case-folded copy
      const std::uint8_t* bytes;  // an ICU sort key
      std::size_t failure;        // index into failures
      const Value* value;         // any other value, and no value
    };
    std::uint64_t prefix = 0;  // orders like the key wherever two prefixes differ
    std::uint32_t length = 0;
    Tag tag = Tag::other;
    Key() : integer(0) {}
  };
  static_assert(sizeof(Key) == 24, "a million keys should stay small");
  struct Level {
    Comparison comparison = Comparison::natural;
    bool ascending = true;
    bool noValueFirst = false;
    // Every key has this one tag, so prefixes of any two keys compare;
    // Tag::other when the tags are mixed.
    Tag uniformTag = Tag::other;
    std::vector<Key> keys;
    std::deque<Value> kept;
    std::u16string folded;
    std::unique_ptr<std::uint8_t[]> sortKeys;
    std::size_t sortKeyBytes = 0, sortKeyRoom = 0;
    bool plainTextIsDistinct = false;  // see isPlain in sort_levels.cpp
    std::vector<HostFailure> failures;

    // Appends a key to sortKeys and returns its length; see sort_levels.cpp.
    std::uint32_t appendSortKey(const UCollator* collator, std::u16string_view text);
  };

  int compareAt(const Level& level, std::uint32_t a, std::uint32_t b) const;
  // The levels from `first` on, in order, for two items.
  bool less(std::size_t first, std::uint32_t a, std::uint32_t b) const;
  static int compareNatural(const Level& level, const Key& a, const Key& b);
  static Value valueFor(const Key& key);
  static int compareText(const Level& level, const Key& a, const Key& b);

  std::size_t count_;
  std::vector<std::unique_ptr<Level>> levels_;  // keys point into each level's own storage
};

}  // namespace tessaro::lists
