// Unescaping JSON strings straight into UTF-16. Each \u escape becomes one
// code unit, so that surrogate pairs and lone surrogates both come through as
// written.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <memory>
#include <string_view>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tessaro::notation {

// A growable UTF-16 buffer written through raw pointers, so that widening
// ASCII needs no per-character bookkeeping. It grows with realloc, which
// moves a large buffer's pages rather than copying them, and can hand its
// storage over to a string value.
class Utf16Buffer {
 public:
  Utf16Buffer() = default;
  Utf16Buffer(const Utf16Buffer&) = delete;
  Utf16Buffer& operator=(const Utf16Buffer&) = delete;
  ~Utf16Buffer() { std::free(data_); }

  void clear() noexcept { size_ = 0; }
  // Room for `more` further code units; returns where they go.
  char16_t* room(std::size_t more) {
    if (size_ + more > capacity_) grow(size_ + more);
    return data_ + size_;
  }
  void advance(std::size_t n) noexcept { size_ += n; }
  void push(char16_t c) {
    *room(1) = c;
    ++size_;
  }
  std::u16string_view view() const noexcept { return {data_, size_}; }
  // The text, in a std::malloc'd buffer of exactly its size; the buffer is
  // left empty.
  char16_t* release() {
    char16_t* data = data_;
    if (void* shrunk = std::realloc(data, std::max<std::size_t>(size_, 1) * sizeof(char16_t)))
      data = static_cast<char16_t*>(shrunk);
    data_ = nullptr;
    size_ = capacity_ = 0;
    return data;
  }

 private:
  void grow(std::size_t needed) {
    std::size_t capacity = std::max<std::size_t>(needed, capacity_ * 2 + 64);
    void* data = std::realloc(data_, capacity * sizeof(char16_t));
    if (!data) throw std::bad_alloc();
    data_ = static_cast<char16_t*>(data);
    capacity_ = capacity;
  }
  char16_t* data_ = nullptr;
  std::size_t size_ = 0, capacity_ = 0;
};

// The slow paths, each taking the text at `s` and returning what follows
// what it decoded: one escape sequence (at a backslash), and the run of
// non-ASCII characters up to the next ASCII byte.
const std::uint8_t* unescapeOne(const std::uint8_t* s, Utf16Buffer& out);
const std::uint8_t* decodeNonAscii(const std::uint8_t* s, const std::uint8_t* end, Utf16Buffer& out);
[[noreturn]] void controlCharacter();

// Widens the next 16 bytes at `s` into `to` and returns a bit for each byte
// that needs more than widening: a quote, a backslash, a control character
// or a non-ASCII byte (bit i for byte i). `quotes` gets the quotes alone.
inline unsigned scan16(const std::uint8_t* s, char16_t* to, unsigned& quotes) noexcept {
#if defined(__SSE2__)
  __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
  __m128i zero = _mm_setzero_si128();
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm_unpacklo_epi8(bytes, zero));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to + 8), _mm_unpackhi_epi8(bytes, zero));
  __m128i quote = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('"'));
  __m128i backslash = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\\'));
  // A signed comparison: below 0x20 and from 0x80 up are both "less".
  __m128i outside = _mm_cmplt_epi8(bytes, _mm_set1_epi8(0x20));
  quotes = unsigned(_mm_movemask_epi8(quote));
  return unsigned(_mm_movemask_epi8(_mm_or_si128(_mm_or_si128(quote, backslash), outside)));
#else
  unsigned special = 0;
  quotes = 0;
  for (int k = 0; k < 16; ++k) {
    std::uint8_t c = s[k];
    to[k] = c;
    if (c == '"') quotes |= 1u << k;
    if (c == '"' || c == '\\' || c < 0x20 || c >= 0x80) special |= 1u << k;
  }
  return special;
#endif
}

// Unescapes the string whose opening quote precedes `s` into `out`; `end` is
// the end of the text. The text must be UTF-8 checked, hold the closing quote,
// and be followed by at least 16 bytes of padding, so that reading 16 bytes
// at a time stays inside the buffer. Throws NotationError on a bad escape or
// a raw control character.
inline void unescapeString(const std::uint8_t* s, const std::uint8_t* end, Utf16Buffer& out) {
  out.clear();
  for (;;) {
    unsigned quotes;
    unsigned special = scan16(s, out.room(16), quotes);
    if (special == 0) {
      out.advance(16);
      s += 16;
      continue;
    }
    // The bytes before the first special one were plain.
    int plain = __builtin_ctz(special);
    out.advance(std::size_t(plain));
    s += plain;
    if (quotes & (1u << plain)) return;
    std::uint8_t c = *s;
    if (c == '\\') s = unescapeOne(s, out);
    else if (c < 0x20) controlCharacter();
    else s = decodeNonAscii(s, end, out);
  }
}

}  // namespace tessaro::notation
