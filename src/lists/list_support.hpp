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

// Command members fail with a filled error and no value in one statement.
inline Value failed(CommandError* error, std::string_view message) {
  fail(error, message);
  return Value();
}

}  // namespace tessaro::lists
