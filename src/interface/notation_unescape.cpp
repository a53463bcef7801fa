// The string unescaper: 16 bytes at a time while the text needs no more
// than widening, escapes and non-ASCII characters one by one.
#include "interface/notation_unescape.hpp"

#include <algorithm>

#include <unicode/utf16.h>
#include <unicode/utf8.h>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "interface/notation_tags.hpp"

namespace tessaro::notation {

namespace {


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

int hexValue(std::uint8_t c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Decodes one escape sequence at `s` (a backslash) and returns what follows it.
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

// Decodes the non-ASCII characters from `s` on, up to the next ASCII byte.
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

}  // namespace

// The closing quote is there and the text is padded, so reading 16 bytes at
// a time stays inside the buffer.
void unescapeString(const std::uint8_t* s, const std::uint8_t* end, Utf16Buffer& out) {
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
    else if (c < 0x20) malformed("control character in a string");
    else s = decodeNonAscii(s, end, out);
  }
}

}  // namespace tessaro::notation
