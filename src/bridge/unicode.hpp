// The one place where text changes representation: UTF-8 bytes, the UTF-16
// code units that Values hold, and ICU strings. ICU's UChar is char16_t, so
// ICU reads Value strings in place.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <unicode/unistr.h>

#include "tessaro/value.hpp"

namespace tessaro {

// Ill-formed bytes become U+FFFD.
std::u16string utf16FromUtf8(std::string_view utf8);
// No value when the bytes are not well-formed UTF-8.
std::optional<std::u16string> utf16FromValidUtf8(std::string_view utf8);
// The number of UTF-16 code units of well-formed UTF-8 text, and the text
// converted into exactly that many units at `out`: a caller can size the
// destination before converting. No value when the bytes are ill-formed.
std::optional<std::size_t> utf16LengthOfValidUtf8(std::string_view utf8);
void convertValidUtf8(std::string_view utf8, char16_t* out, std::size_t length);
// Lone surrogates become U+FFFD.
std::string utf8FromUtf16(std::u16string_view utf16);
// No value when the text holds a lone surrogate.
std::optional<std::string> utf8FromValidUtf16(std::u16string_view utf16);
void appendUtf8(std::u16string_view utf16, std::string& out);

// A read-only ICU view of UTF-16 text; `text` must outlive the result.
inline icu::UnicodeString icuView(std::u16string_view text) {
  return icu::UnicodeString(false, text.data(), int32_t(text.size()));
}
inline std::u16string_view viewOf(const icu::UnicodeString& s) {
  return std::u16string_view(s.getBuffer(), std::size_t(s.length()));
}
inline Value valueFromIcu(const icu::UnicodeString& s) { return Value::string(viewOf(s)); }

}  // namespace tessaro
