// Unescaping JSON strings straight into UTF-16. Each \\u escape becomes one
// code unit, so that surrogate pairs and lone surrogates both come through as
// written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

namespace tessaro::notation {

// A growable UTF-16 buffer written through raw pointers, so that widening
// ASCII needs no per-character bookkeeping.
class Utf16Buffer {
 public:
  void clear() noexcept { size_ = 0; }
  // Room for `more` further code units; returns where they go.
  char16_t* room(std::size_t more) {
    if (size_ + more > capacity_) grow(size_ + more);
    return data_.get() + size_;
  }
  void advance(std::size_t n) noexcept { size_ += n; }
  void push(char16_t c) {
    *room(1) = c;
    ++size_;
  }
  std::u16string_view view() const noexcept { return {data_.get(), size_}; }

 private:
  void grow(std::size_t needed) {
    std::size_t capacity = std::max<std::size_t>(needed, capacity_ * 2 + 64);
    std::unique_ptr<char16_t[]> data(new char16_t[capacity]);
    if (size_) std::memcpy(data.get(), data_.get(), size_ * sizeof(char16_t));
    data_ = std::move(data);
    capacity_ = capacity;
  }
  std::unique_ptr<char16_t[]> data_;
  std::size_t size_ = 0, capacity_ = 0;
};

// Unescapes the string whose opening quote precedes `s` into `out`; `end` is
// the end of the text. The text must be UTF-8 checked, hold the closing quote,
// and be followed by at least 16 bytes of padding. Throws NotationError on a
// bad escape or a raw control character.
void unescapeString(const std::uint8_t* s, const std::uint8_t* end, Utf16Buffer& out);

}  // namespace tessaro::notation
