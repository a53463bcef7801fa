// Small helpers that the list commands share: reading list arguments, making
// result lists, and the host's own failures for list access out of range.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tessaro/errors.hpp"
#include "tessaro/value.hpp"

namespace tessaro::lists {

// The items of a list argument that a command uses without checking it: a
// value of any other kind does not answer the list operations, which is the
// host's unrecognizedSelector failure.
inline std::span<const Value> itemsOf(const Value& v) {
  if (!v.isList()) doesNotAnswer(v, "count");
  return v.asList();
}

// The item at `index`, or the host list's range failure.
inline const Value& itemAt(std::span<const Value> items, std::uint64_t index) {
  if (index >= items.size())
    throwFailure(FailureKind::range, "index " + std::to_string(index) + " beyond bounds [0 .. " +
                                         (items.empty() ? std::string("-1") : std::to_string(items.size() - 1)) + "]");
  return items[index];
}

inline Value listOf(std::vector<Value>&& items) { return Value::list(std::move(items)); }

// The items at `order`, in that order: a new list sharing them. A sorted
// order visits the items at random, and each copy updates its item's
// reference count, which sits beside `bodies[i]`, an address inside item i's
// shared body (the first of a list's items, say); those are fetched some
// steps ahead, so that the updates do not wait on memory one after another.
inline Value itemsInOrder(std::span<const Value> items, const std::vector<std::uint32_t>& order,
                          const std::vector<const void*>& bodies) {
  constexpr std::size_t kAhead = 12;
  std::vector<Value> out;
  out.reserve(order.size());
  for (std::size_t i = 0; i < order.size(); ++i) {
    if (i + kAhead < order.size()) {
      __builtin_prefetch(&items[order[i + kAhead]]);
      __builtin_prefetch(bodies[order[i + kAhead]]);
    }
    out.push_back(items[order[i]]);
  }
  return Value::list(std::move(out));
}

// Command members fail with a filled error and no value in one statement.
inline Value failed(CommandError* error, std::string_view message) {
  fail(error, message);
  return Value();
}

}  // namespace tessaro::lists
