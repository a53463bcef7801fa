// Prints values in the canonical notation: ", " and ": " as separators,
// strings as UTF-8 with only the quote, the backslash and control characters
// escaped, reals always with a '.' or an exponent, and the tagged forms for
// everything JSON has no kind for. Whatever the reader accepts prints back
// to a text that reads as the same value.
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <ostream>
#include <string_view>

#include <openssl/evp.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "interface/notation_tags.hpp"
#include "tessaro/host_objects.hpp"
#include "tessaro/notation.hpp"

namespace tessaro {

using namespace std::string_view_literals;

namespace {

constexpr char kHex[] = "0123456789abcdef";

bool isPlainAscii(char16_t c) noexcept { return c >= 0x20 && c < 0x80 && c != '"' && c != '\\'; }

// Bytes that a code unit below 0x80 takes once escaped.
std::size_t asciiWidth(char16_t c) noexcept {
  if (isPlainAscii(c)) return 1;
  switch (c) {
    case '"': case '\\': case '\b': case '\f': case '\n': case '\r': case '\t':
      return 2;
    default:
      return 6;
  }
}

char* writeAsciiEscape(char16_t c, char* p) noexcept {
  *p++ = '\\';
  switch (c) {
    case '"': *p++ = '"'; break;
    case '\\': *p++ = '\\'; break;
    case '\b': *p++ = 'b'; break;
    case '\f': *p++ = 'f'; break;
    case '\n': *p++ = 'n'; break;
    case '\r': *p++ = 'r'; break;
    case '\t': *p++ = 't'; break;
    default:
      *p++ = 'u';
      *p++ = '0';
      *p++ = '0';
      *p++ = kHex[c >> 4];
      *p++ = kHex[c & 0xF];
  }
  return p;
}

// Appends plain ASCII text (nothing to escape) between quotes. Returns false,
// having appended nothing, when `s` holds anything else.
bool appendPlainAscii(std::u16string_view s, std::string& out) {
  std::size_t start = out.size(), n = s.size(), i = 0;
  out.resize(start + n + 2);
  char* p = out.data() + start + 1;
#if defined(__SSE2__)
  const __m128i high = _mm_set1_epi16(std::int16_t(0xFF80)), zero = _mm_setzero_si128();
  for (; i + 8 <= n; i += 8) {
    __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s.data() + i));
    // Plain: below 0x80, not below 0x20 (a signed comparison that also
    // catches 0x8000 and up), neither a quote nor a backslash.
    __m128i bad = _mm_or_si128(_mm_cmpeq_epi16(_mm_cmpeq_epi16(_mm_and_si128(units, high), zero), zero),
                               _mm_cmplt_epi16(units, _mm_set1_epi16(0x20)));
    bad = _mm_or_si128(bad, _mm_or_si128(_mm_cmpeq_epi16(units, _mm_set1_epi16('"')),
                                         _mm_cmpeq_epi16(units, _mm_set1_epi16('\\'))));
    if (_mm_movemask_epi8(bad) != 0) break;
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p + i), _mm_packus_epi16(units, units));
  }
#endif
  for (; i < n; ++i) {
    if (!isPlainAscii(s[i])) {
      out.resize(start);
      return false;
    }
    p[i] = char(s[i]);
  }
  p[-1] = '"';
  p[n] = '"';
  return true;
}

// Writes the UTF-8 (or the escape) of the code unit at s[i] to `p`; a
// surrogate pair takes the unit after it too. Returns where writing ended.
inline char* writeUnit(std::u16string_view s, std::size_t& i, char* p) noexcept {
  char16_t c = s[i];
  if (isPlainAscii(c)) {
    *p++ = char(c);
  } else if (c < 0x80) {
    p = writeAsciiEscape(c, p);
  } else if (c < 0x800) {
    *p++ = char(0xC0 | (c >> 6));
    *p++ = char(0x80 | (c & 0x3F));
  } else if (U16_IS_LEAD(c) && i + 1 < s.size() && U16_IS_TRAIL(s[i + 1])) {
    UChar32 cp = U16_GET_SUPPLEMENTARY(c, s[i + 1]);
    ++i;
    *p++ = char(0xF0 | (cp >> 18));
    *p++ = char(0x80 | ((cp >> 12) & 0x3F));
    *p++ = char(0x80 | ((cp >> 6) & 0x3F));
    *p++ = char(0x80 | (cp & 0x3F));
  } else if (U16_IS_SURROGATE(c)) {
    *p++ = '\\';
    *p++ = 'u';
    for (int shift = 12; shift >= 0; shift -= 4) *p++ = kHex[(c >> shift) & 0xF];
  } else {
    *p++ = char(0xE0 | (c >> 12));
    *p++ = char(0x80 | ((c >> 6) & 0x3F));
    *p++ = char(0x80 | (c & 0x3F));
  }
  return p;
}

// A short string (most cells of a table) is written on the stack and
// appended in one piece: no zero-filled resize, no second pass to measure.
constexpr std::size_t kShortUnits = 32;

#if defined(__SSE2__)
// A bit pair for each of eight units that is not plain ASCII.
inline unsigned notPlain8(__m128i units) noexcept {
  const __m128i high = _mm_set1_epi16(std::int16_t(0xFF80)), zero = _mm_setzero_si128();
  // Plain: below 0x80, not below 0x20 (a signed comparison that also
  // catches 0x8000 and up), neither a quote nor a backslash.
  __m128i bad = _mm_or_si128(_mm_cmpeq_epi16(_mm_cmpeq_epi16(_mm_and_si128(units, high), zero), zero),
                             _mm_cmplt_epi16(units, _mm_set1_epi16(0x20)));
  bad = _mm_or_si128(bad, _mm_or_si128(_mm_cmpeq_epi16(units, _mm_set1_epi16('"')),
                                       _mm_cmpeq_epi16(units, _mm_set1_epi16('\\'))));
  return unsigned(_mm_movemask_epi8(bad));
}
#endif

// `readable8`: eight units can be read from s.data() whatever s.size() is
// (a string kept inside its value), so that a string of fewer units is
// checked and packed in one step too.
void appendShortJsonUtf16(std::u16string_view s, std::string& out, bool readable8) {
  char buffer[kShortUnits * 6 + 2];
  char* p = buffer;
  *p++ = '"';
  std::size_t i = 0, n = s.size();
#if defined(__SSE2__)
  if (n < 8 && readable8) {
    __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s.data()));
    if ((notPlain8(units) & ((1u << (2 * n)) - 1)) == 0) {
      _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_packus_epi16(units, units));
      p += n;
      i = n;
    }
  }
  // Eight units at a time while they are plain ASCII.
  for (; i + 8 <= n; i += 8) {
    __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s.data() + i));
    if (notPlain8(units) != 0) break;
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_packus_epi16(units, units));
    p += 8;
  }
#else
  (void)readable8;
#endif
  for (; i < n; ++i) p = writeUnit(s, i, p);
  *p++ = '"';
  out.append(buffer, std::size_t(p - buffer));
}

// A JSON string of UTF-16 text. Lone surrogates, which UTF-8 cannot carry,
// print as \udxxx escapes. Longer text that needs more than copying is
// measured first so that it is written in one go.
void appendJsonUtf16(std::u16string_view s, std::string& out, bool readable8 = false) {
  if (s.size() <= kShortUnits) {
    appendShortJsonUtf16(s, out, readable8);
    return;
  }
  if (appendPlainAscii(s, out)) return;
  std::size_t length = 2;
  for (std::size_t i = 0; i < s.size(); ++i) {
    char16_t c = s[i];
    if (c < 0x80) length += asciiWidth(c);
    else if (c < 0x800) length += 2;
    else if (U16_IS_LEAD(c) && i + 1 < s.size() && U16_IS_TRAIL(s[i + 1])) length += 4, ++i;
    else if (U16_IS_SURROGATE(c)) length += 6;
    else length += 3;
  }
  std::size_t start = out.size();
  out.resize(start + length);
  char* p = out.data() + start;
  *p++ = '"';
  for (std::size_t i = 0; i < s.size(); ++i) p = writeUnit(s, i, p);
  *p = '"';
}

// A string value: one short enough to be kept inside the value always has
// eight units' room to read.
void appendJsonString(const Value& v, std::string& out) {
  std::u16string_view s = v.asString();
  appendJsonUtf16(s, out, s.size() <= Value::kInlineChars);
}

bool isValidUtf8(std::string_view s) noexcept {
  std::int32_t i = 0, n = std::int32_t(s.size());
  while (i < n) {
    UChar32 c;
    U8_NEXT(s.data(), i, n, c);
    if (c < 0) return false;
  }
  return true;
}

template <class Int>
void appendInteger(Int i, std::string& out) {
  char buffer[24];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, i);
  out.append(buffer, result.ptr);
}

// A number inside a tagged form: a real, or {"$real": …} when not finite.
void appendNumber(double d, std::string& out) {
  if (std::isfinite(d)) {
    printReal(d, out);
    return;
  }
  out += "{\"$real\": \""sv;
  printReal(d, out);
  out += "\"}"sv;
}

void appendNumbers(const std::vector<double>& numbers, std::string& out) {
  out += '[';
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (i) out += ", "sv;
    appendNumber(numbers[i], out);
  }
  out += ']';
}

// A four-character code as text: its bytes when they are UTF-8, otherwise
// one character per byte (which the reader knows to take back as bytes).
void appendFourCC(FourCC code, std::string& out) {
  std::string bytes = fourCCString(code);
  if (isValidUtf8(bytes)) {
    printJsonString(bytes, out);
    return;
  }
  std::u16string latin1(bytes.begin(), bytes.end());
  for (std::size_t i = 0; i < bytes.size(); ++i) latin1[i] = char16_t(std::uint8_t(bytes[i]));
  appendJsonUtf16(latin1, out);
}

void appendDescriptor(const Descriptor& d, std::string& out) {
  out += "{\"$descriptor\": {\"type\": "sv;
  appendFourCC(d.type(), out);
  switch (d.form()) {
    case Descriptor::Form::bytes:
      out += ", \"hex\": \""sv;
      for (char byte : d.data()) {
        out += kHex[std::uint8_t(byte) >> 4];
        out += kHex[std::uint8_t(byte) & 0xF];
      }
      out += '"';
      break;
    case Descriptor::Form::list:
      out += ", \"items\": ["sv;
      for (std::size_t i = 0; i < d.items().size(); ++i) {
        if (i) out += ", "sv;
        appendDescriptor(d.items()[i], out);
      }
      out += ']';
      break;
    case Descriptor::Form::record: {
      out += ", \"items\": "sv;
      // A lone keyword that spells a tag ("$url") needs the record escape.
      bool escape = d.fields().size() == 1 && notation::tagNamed(fourCCString(d.fields()[0].first)).has_value();
      if (escape) out += "{\"$record\": "sv;
      out += '{';
      for (std::size_t i = 0; i < d.fields().size(); ++i) {
        if (i) out += ", "sv;
        appendFourCC(d.fields()[i].first, out);
        out += ": "sv;
        appendDescriptor(d.fields()[i].second, out);
      }
      out += '}';
      if (escape) out += '}';
      break;
    }
  }
  out += "}}"sv;
}

void appendBase64(std::string_view bytes, std::string& out) {
  std::size_t start = out.size();
  out.resize(start + (bytes.size() + 2) / 3 * 4 + 1);  // the encoder adds a NUL
  int n = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out.data() + start),
                          reinterpret_cast<const unsigned char*>(bytes.data()), int(bytes.size()));
  out.resize(start + std::size_t(n));
}

void appendBezier(const BezierPath& path, std::string& out) {
  static constexpr const char* kNames[] = {"moveto", "lineto", "curveto", "closepath"};
  out += "{\"$bezier\": {\"elements\": ["sv;
  for (std::size_t i = 0; i < path.elements.size(); ++i) {
    const BezierPath::Element& e = path.elements[i];
    if (i) out += ", "sv;
    out += "[\""sv;
    out += kNames[std::size_t(e.kind) & 3];
    out += '"';
    std::size_t points = e.kind == BezierPath::ElementKind::curveTo     ? 3
                         : e.kind == BezierPath::ElementKind::closePath ? 0
                                                                       : 1;
    for (std::size_t k = 0; k < points; ++k) {
      out += ", ["sv;
      appendNumber(e.points[k].x, out);
      out += ", "sv;
      appendNumber(e.points[k].y, out);
      out += ']';
    }
    out += ']';
  }
  out += ']';
  // What was written, and whatever holds more than the defaults.
  if (path.dashWritten || !path.dash.empty()) {
    out += ", \"dash\": "sv;
    appendNumbers(path.dash, out);
  }
  if (path.phaseWritten || path.phase != 0 || std::signbit(path.phase)) {
    out += ", \"phase\": "sv;
    appendNumber(path.phase, out);
  }
  out += "}}"sv;
}

void appendObject(const Value& v, std::string& out) {
  if (const auto* path = v.objectAs<BezierPath>()) return appendBezier(*path, out);
  if (const auto* color = v.objectAs<Color>()) {
    out += "{\"$color\": {\"space\": "sv;
    printJsonString(color->space, out);
    out += ", \"components\": "sv;
    appendNumbers(color->components, out);
    out += "}}"sv;
    return;
  }
  if (const auto* locale = v.objectAs<LocaleObject>()) {
    out += "{\"$locale\": "sv;
    printJsonString(locale->identifier, out);
    out += '}';
    return;
  }
  if (const auto* script = v.objectAs<ScriptTarget>()) {
    out += "{\"$script\": {"sv;
    if (script->hasHandlers()) {
      out += "\"command\": ["sv;
      for (std::size_t i = 0; i < script->command.size(); ++i) {
        if (i) out += ", "sv;
        printJsonString(script->command[i], out);
      }
      out += ']';
    }
    out += "}}"sv;
    return;
  }
  throw NotationError("a host object of kind " + std::string(v.asObject().tag()) + " has no notation");
}

void appendRecord(const Record& record, std::string& out) {
  // A record whose one key is a tag name would read back as that tag.
  bool escape = record.size() == 1 && notation::tagNamed(record.entries()[0].first.asString()).has_value();
  if (escape) out += "{\"$record\": "sv;
  out += '{';
  bool first = true;
  for (const auto& [key, value] : record.entries()) {
    if (!first) out += ", "sv;
    first = false;
    appendJsonString(key, out);
    out += ": "sv;
    printNotation(value, out);
  }
  out += '}';
  if (escape) out += '}';
}

}  // namespace

void printJsonString(std::string_view s, std::string& out) {
  out.reserve(out.size() + s.size() + 2);
  out += '"';
  std::int64_t i = 0, n = std::int64_t(s.size());
  while (i < n) {
    auto c = std::uint8_t(s[std::size_t(i)]);
    if (c < 0x80) {
      if (isPlainAscii(c)) {
        out += char(c);
      } else {
        char buffer[6];
        out.append(buffer, writeAsciiEscape(c, buffer));
      }
      ++i;
      continue;
    }
    std::int64_t start = i;
    UChar32 cp;
    U8_NEXT(s.data(), i, n, cp);
    if (cp < 0) out += "\xEF\xBF\xBD"sv;
    else out.append(s.data() + start, std::size_t(i - start));
  }
  out += '"';
}

namespace {

// Most reals in data have a few decimals (12.75, 0.1, 99.99). When d is the
// double nearest to m / 10^k for a whole m of at most 15 digits, those digits
// read back to d, and no shorter digits do (every decimal of at most 15
// significant digits reads back to itself through a double), so they are
// the shortest digits: d prints from m directly, in fixed notation, without
// the general search for the shortest digits.
bool appendShortDecimal(double d, std::string& out) {
  static constexpr double kPowers[] = {1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8};
  double magnitude = std::fabs(d);
  if (!(magnitude >= 1e-4 && magnitude < 1e15)) return false;
  for (int k = 0; k <= 8; ++k) {
    double scaled = magnitude * kPowers[k];
    if (scaled >= 1e15) return false;
    double m = std::nearbyint(scaled);
    if (m / kPowers[k] != magnitude) continue;
    // The digits of m, with the point k places from the right.
    char digits[24];
    char* end = std::to_chars(digits, digits + sizeof digits, std::uint64_t(m)).ptr;
    std::size_t n = std::size_t(end - digits);
    char buffer[48];
    char* p = buffer;
    if (std::signbit(d)) *p++ = '-';
    if (n <= std::size_t(k)) {
      *p++ = '0';
      *p++ = '.';
      for (std::size_t zeros = std::size_t(k) - n; zeros > 0; --zeros) *p++ = '0';
      std::memcpy(p, digits, n);
      p += n;
    } else {
      std::size_t whole = n - std::size_t(k);
      std::memcpy(p, digits, whole);
      p += whole;
      *p++ = '.';
      if (k == 0) {
        *p++ = '0';
      } else {
        std::memcpy(p, digits + whole, std::size_t(k));
        p += k;
      }
    }
    out.append(buffer, p);
    return true;
  }
  return false;
}

}  // namespace

void printReal(double d, std::string& out) {
  if (std::isnan(d)) {
    out += "nan"sv;
    return;
  }
  if (std::isinf(d)) {
    out += d < 0 ? "-inf"sv : "inf"sv;
    return;
  }
  if (appendShortDecimal(d, out)) return;
  // The shortest digits that read back, as "-d.ddde+XX" (two exponent
  // digits at least), laid out again in a buffer and appended in one piece.
  char text[32];
  char* end = std::to_chars(text, text + sizeof text, d, std::chars_format::scientific).ptr;
  char* e = static_cast<char*>(std::memchr(text, 'e', std::size_t(end - text)));
  int exponent = 0;
  for (const char* p = e + 2; p < end; ++p) exponent = exponent * 10 + (*p - '0');
  if (e[1] == '-') exponent = -exponent;
  if (exponent < -4 || exponent >= 16) {
    out.append(text, end);
    return;
  }
  // Fixed notation, with at least one digit after the point.
  char buffer[48];
  char* p = buffer;
  const char* m = text;
  if (*m == '-') *p++ = *m++;
  char digits[20];
  std::size_t n = 0;
  for (; m < e; ++m)
    if (*m != '.') digits[n++] = *m;
  if (exponent < 0) {
    *p++ = '0';
    *p++ = '.';
    for (int zeros = -exponent - 1; zeros > 0; --zeros) *p++ = '0';
    std::memcpy(p, digits, n);
    p += n;
  } else {
    std::size_t whole = std::size_t(exponent) + 1;
    if (n <= whole) {
      std::memcpy(p, digits, n);
      p += n;
      for (std::size_t zeros = whole - n; zeros > 0; --zeros) *p++ = '0';
      *p++ = '.';
      *p++ = '0';
    } else {
      std::memcpy(p, digits, whole);
      p += whole;
      *p++ = '.';
      std::memcpy(p, digits + whole, n - whole);
      p += n - whole;
    }
  }
  out.append(buffer, p);
}

void printNotation(const Value& v, std::string& out) {
  switch (v.kind()) {
    case ValueKind::nothing:
      out += "{\"$nothing\": true}"sv;
      return;
    case ValueKind::null:
      out += "null"sv;
      return;
    case ValueKind::boolean:
      out += v.asBoolean() ? "true" : "false";
      return;
    case ValueKind::integer:
      appendInteger(v.asInteger(), out);
      return;
    case ValueKind::real:
      appendNumber(v.asReal(), out);
      return;
    case ValueKind::string:
      appendJsonString(v, out);
      return;
    case ValueKind::date:
      out += "{\"$date\": "sv;
      appendNumber(v.asDate(), out);
      out += '}';
      return;
    case ValueKind::data:
      out += "{\"$data\": \""sv;
      appendBase64(v.asData(), out);
      out += "\"}"sv;
      return;
    case ValueKind::list: {
      out += '[';
      bool first = true;
      for (const Value& item : v.asList()) {
        if (!first) out += ", "sv;
        first = false;
        printNotation(item, out);
      }
      out += ']';
      return;
    }
    case ValueKind::record:
      appendRecord(v.asRecord(), out);
      return;
    case ValueKind::url:
      out += "{\"$url\": "sv;
      printJsonString(v.asUrl(), out);
      out += '}';
      return;
    case ValueKind::indexSet: {
      out += "{\"$indexSet\": ["sv;
      bool first = true;
      for (Range run : v.asIndexSet().runs()) {
        for (std::uint64_t i = 0; i < run.length; ++i) {
          if (!first) out += ", "sv;
          first = false;
          appendInteger(run.location + i, out);
        }
      }
      out += "]}"sv;
      return;
    }
    case ValueKind::range:
      out += "{\"$range\": ["sv;
      appendInteger(v.asRange().location, out);
      out += ", "sv;
      appendInteger(v.asRange().length, out);
      out += "]}"sv;
      return;
    case ValueKind::descriptor:
      appendDescriptor(v.asDescriptor(), out);
      return;
    case ValueKind::object:
      appendObject(v, out);
      return;
  }
}

std::string printNotation(const Value& v) {
  std::string out;
  printNotation(v, out);
  return out;
}

}  // namespace tessaro

namespace tessaro {
std::ostream& operator<<(std::ostream& out, const Value& v) { return out << printNotation(v); }
}  // namespace tessaro
