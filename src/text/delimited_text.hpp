// Comma-separated (any one-unit separator, with double-quote quoting) and
// tab-separated text parsed into tables: lists of rows of string fields.
// Both work on the text's UTF-16 code units in place.
#pragma once

#include <cstddef>
#include <string_view>

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
  // The first special character at or after `p`, or `end`.
  const char16_t* ordinaryRunEnd(const char16_t* p, const char16_t* end) const noexcept;

 private:
  char16_t separator_;
};

// Tab or a space separator (general category Zs): what is skipped after a
// separator.
bool isCsvWhitespace(char16_t c) noexcept;

// The table of `text` with the one-unit `separator`. Empty trailing fields
// and rows without fields are dropped; see csv_parser.cpp for the rules.
Value parseCsv(std::u16string_view text, char16_t separator);

// One row per paragraph (ended by LF, CR, CR LF or U+2029), split at every
// tab; no quoting, nothing trimmed or skipped.
Value parseTsv(std::u16string_view text);

}  // namespace tessaro::text
