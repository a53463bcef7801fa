// The slow paths of the string unescaper: escapes and non-ASCII characters.
#include "interface/notation_unescape.hpp"

#include <algorithm>

#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include "interface/notation_tags.hpp"

namespace tessaro::notation {

namespace {

int hexValue(std::uint8_t c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

void controlCharacter() { malformed("control character in a string"); }

const std::uint8_t* unescapeOne(const std::uint8_t* s, Utf16Buffer& out) {
  char16_t unit;
  switch (s[1]) {
    case '"': unit = '"'; break;
    case '\\': unit = '\\'; break;
    case '/': unit = '/'; break;
    case 'b': unit = '\b'; break;
    case 'f': unit = '\f'; break;
    case 'n': unit = '\n'; break;
    case 'r': unit = '\r'; break;
    case 't': unit = '\t'; break;
    case 'u': {
      // Each \u escape is one UTF-16 code unit, so surrogate pairs and lone
      // surrogates come through exactly as written.
      unsigned value = 0;
      for (int k = 2; k < 6; ++k) {
        int h = hexValue(s[k]);
        if (h < 0) malformed("bad \\u escape in a string");
        value = value * 16 + unsigned(h);
      }
      out.push(char16_t(value));
      return s + 6;
    }
    default:
      malformed("bad escape in a string");
  }
  out.push(unit);
  return s + 2;
}

// The parser has checked that the text is UTF-8. The common two- and
// three-byte sequences are decoded here; ICU takes the others (four bytes,
// and the three-byte leads whose second byte has a narrower range).
const std::uint8_t* decodeNonAscii(const std::uint8_t* s, const std::uint8_t* end, Utf16Buffer& out) {
  auto continuation = [](std::uint8_t b) { return (b & 0xC0) == 0x80; };
  while (*s >= 0x80) {
    std::uint8_t c = *s;
    if (c >= 0xC2 && c < 0xE0 && continuation(s[1])) {
      out.push(char16_t(((c & 0x1F) << 6) | (s[1] & 0x3F)));
      s += 2;
      continue;
    }
    if (c > 0xE0 && c < 0xF0 && c != 0xED && continuation(s[1]) && continuation(s[2])) {
      out.push(char16_t(((c & 0x0F) << 12) | ((s[1] & 0x3F) << 6) | (s[2] & 0x3F)));
      s += 3;
      continue;
    }
    std::int32_t i = 0;
    std::int32_t length = std::int32_t(std::min<std::ptrdiff_t>(end - s, 4));
    UChar32 cp;
    U8_NEXT(s, i, length, cp);
    if (cp < 0) malformed("the JSON text is not valid UTF-8");
    if (cp <= 0xFFFF) {
      out.push(char16_t(cp));
    } else {
      out.push(U16_LEAD(cp));
      out.push(U16_TRAIL(cp));
    }
    s += i;
  }
  return s;
}

}  // namespace tessaro::notation
