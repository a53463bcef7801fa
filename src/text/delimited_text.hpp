// Comma-separated (any one-unit separator, with double-quote quoting) and
// tab-separated text parsed into tables: lists of rows of string fields.
// Both work on the text's UTF-16 code units in place.
#pragma once

#include <cstddef>
#include <string_view>

#include <unicode/uchar.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "tessaro/value.hpp"

namespace tessaro::text {

// The characters that end a run of ordinary field text: the quote, the
// separator and the newline characters U+000A to U+000D, U+0085, U+2028 and
// U+2029.
class CsvScanner {
 public:
  explicit CsvScanner(char16_t separator) noexcept : separator_(separator) {}
  static bool isNewline(char16_t c) noexcept {
    return (c >= 0x0A && c <= 0x0D) || c == 0x85 || c == 0x2028 || c == 0x2029;
  }
  bool isSpecial(char16_t c) const noexcept { return c == u'"' || c == separator_ || isNewline(c); }
  // The first special character at or after `p`, or `end`. Inline: it runs
  // once per field, and its constants then stay in registers.
  const char16_t* ordinaryRunEnd(const char16_t* p, const char16_t* end) const noexcept;

 private:
  char16_t separator_;
};

inline const char16_t* CsvScanner::ordinaryRunEnd(const char16_t* p, const char16_t* end) const noexcept {
#if defined(__SSE2__)
  // Eight units at a time: a unit is special when it equals the quote, the
  // separator, U+0085, U+2028 or U+2029, or lies in U+000A to U+000D.
  const __m128i quote = _mm_set1_epi16(u'"'), separator = _mm_set1_epi16(short(separator_));
  const __m128i nextLine = _mm_set1_epi16(0x85), lineSep = _mm_set1_epi16(0x2028),
                paragraphSep = _mm_set1_epi16(0x2029);
  const __m128i lineFeed = _mm_set1_epi16(0x0A), three = _mm_set1_epi16(3), zero = _mm_setzero_si128();
  while (end - p >= 8) {
    __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    __m128i hits = _mm_or_si128(_mm_cmpeq_epi16(units, quote), _mm_cmpeq_epi16(units, separator));
    hits = _mm_or_si128(hits, _mm_cmpeq_epi16(units, nextLine));
    hits = _mm_or_si128(hits, _mm_cmpeq_epi16(units, lineSep));
    hits = _mm_or_si128(hits, _mm_cmpeq_epi16(units, paragraphSep));
    // units - 0x0A, saturated down by 3, is zero exactly for 0x0A to 0x0D.
    __m128i offset = _mm_sub_epi16(units, lineFeed);
    hits = _mm_or_si128(hits, _mm_cmpeq_epi16(_mm_subs_epu16(offset, three), zero));
    if (int mask = _mm_movemask_epi8(hits)) return p + (__builtin_ctz(unsigned(mask)) >> 1);
    p += 8;
  }
#endif
  while (p < end && !isSpecial(*p)) ++p;
  return p;
}

// Tab or a space separator (general category Zs): what is skipped after a
// separator.
inline bool isCsvWhitespace(char16_t c) noexcept {
  if (c < 0x80) return c == u' ' || c == u'\t';
  return u_charType(c) == U_SPACE_SEPARATOR;
}

// The table of `text` with the one-unit `separator`. Empty trailing fields
// and rows without fields are dropped; see delimited_text.cpp for the rules.
Value parseCsv(std::u16string_view text, char16_t separator);

// One row per paragraph (ended by LF, CR, CR LF or U+2029), split at every
// tab; no quoting, nothing trimmed or skipped.
Value parseTsv(std::u16string_view text);

}  // namespace tessaro::text
