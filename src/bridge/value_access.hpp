// Inline construction of the values that readers make millions of times,
// for code inside the library that needs it where a call would cost as much
// as the work itself.
#pragma once

#include <cstring>
#include <string_view>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "tessaro/value.hpp"

namespace tessaro {

struct ValueAccess {
  // Value::stringFromPadded for a string of at most kInlineChars units:
  // the caller's buffer holds kPaddedChars units from s.data() on. The
  // whole 24 bytes are assembled in registers and stored once: writing the
  // kind, the length and the units separately and then moving the value
  // would stall the processor on store forwarding.
  static Value shortStringFromPadded(std::u16string_view s) noexcept {
    Value v;
#if defined(__SSE2__)
    const __m128i* from = reinterpret_cast<const __m128i*>(s.data());
    __m128i first = _mm_loadu_si128(from), second = _mm_loadu_si128(from + 1);
    __m128i head =
        _mm_insert_epi16(_mm_slli_si128(first, 2), int(std::uint8_t(ValueKind::string)) | int(s.size()) << 8, 0);
    __m128i tail = _mm_or_si128(_mm_srli_si128(first, 14), _mm_slli_si128(second, 2));
    std::memcpy(static_cast<void*>(&v.rep_), &head, 16);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(reinterpret_cast<unsigned char*>(&v.rep_) + 16), tail);
#else
    v.rep_.small.kind = ValueKind::string;
    v.rep_.small.length = std::uint8_t(s.size());
    std::memcpy(v.rep_.small.chars, s.data(), sizeof v.rep_.small.chars);
#endif
    return v;
  }
};

}  // namespace tessaro
