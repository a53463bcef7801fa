// The pool that the values made from one large text are carved from: a
// command that makes a value for each of millions of pieces of a text then
// spares the general allocator as many small blocks.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "bridge/value_pool.hpp"

namespace tessaro::text {

class LargeTextPool {
 public:
  // Texts from this many code units on get a pool.
  static constexpr std::size_t kFrom = std::size_t(1) << 15;

  explicit LargeTextPool(std::u16string_view text) {
    if (text.size() >= kFrom) pool_.emplace(text.size() * sizeof(char16_t) * 2);
  }
  detail::Pool* get() noexcept { return pool_ ? &*pool_ : nullptr; }

 private:
  std::optional<detail::Pool> pool_;
};

// A value for text[start, start + length): short strings are taken with
// fixed-size moves where the text goes on far enough past them, long ones
// carved from `pool` when there is one.
inline Value pieceOf(std::u16string_view text, std::size_t start, std::size_t length, detail::Pool* pool) {
  std::u16string_view s = text.substr(start, length);
  if (length > Value::kInlineChars) return pool ? Value::stringFromPadded(s, *pool) : Value::string(s);
  if (text.size() - start >= Value::kPaddedChars) return Value::stringFromPadded(s);
  return Value::string(s);
}

}  // namespace tessaro::text
