// Pieces shared by both directions of the bridge conversion: the options
// mask, the one-level list and record walkers, and the failures a leaf
// converter raises when it is handed a value of the wrong kind.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tessaro/errors.hpp"
#include "tessaro/value.hpp"

namespace tessaro::fording {

// Options mask bits: a set bit leaves values of that kind as they are.
inline constexpr std::uint64_t kData = 1;
inline constexpr std::uint64_t kDates = 2;
inline constexpr std::uint64_t kFiles = 4;
inline constexpr std::uint64_t kReals = 8;
inline constexpr std::uint64_t kNone = kData | kDates | kFiles | kReals;

// The mask argument is a host number (or anything that reads as one).
inline std::uint64_t readMask(const Value& mask) { return std::uint64_t(mask.integerValue()); }
inline bool converts(std::uint64_t mask, std::uint64_t bit) noexcept { return (mask & bit) == 0; }

// The host refuses to place no value into a list or record; the walk fails
// as a whole rather than leaving a hole.
[[noreturn]] inline void noValueInserted(const char* container) {
  throwFailure(FailureKind::invalidArgument, std::string("insertion of no value into a ") + container);
}

// A new list of `convert` applied to each item of `list`, one level deep.
// No value yields an empty list, as enumerating nothing does.
template <class Convert>
Value walkList(const Value& list, Convert convert) {
  if (list.isNothing()) return Value::list(std::vector<Value>{});
  if (!list.isList()) doesNotAnswer(list, "count");
  std::vector<Value> items;
  items.reserve(list.asList().size());
  for (const Value& item : list.asList()) {
    Value converted = convert(item);
    if (converted.isNothing()) noValueInserted("list");
    items.push_back(std::move(converted));
  }
  return Value::list(std::move(items));
}

// A new record with the same keys in the same order, each value passed
// through `convert`, one level deep.
template <class Convert>
Value walkRecord(const Value& record, Convert convert) {
  if (record.isNothing()) return Value::record(Record{});
  if (!record.isRecord()) doesNotAnswer(record, "allKeys");
  Record result;
  result.reserve(record.asRecord().size());
  for (const auto& [key, value] : record.asRecord().entries()) {
    Value converted = convert(value);
    if (converted.isNothing()) noValueInserted("record");
    result.appendNew(key, std::move(converted));  // the keys are already distinct
  }
  return Value::record(std::move(result));
}

}  // namespace tessaro::fording
