#include "text/xml_entities.hpp"

#include <cstdint>
#include <optional>

#include <unicode/utf16.h>

namespace tessaro::text {

namespace {

struct Entity {
  std::u16string_view name;
  char16_t character;
};
constexpr Entity kEntities[] = {
    {u"amp", u'&'}, {u"lt", u'<'}, {u"gt", u'>'}, {u"quot", u'"'}, {u"apos", u'\''},
};

// The code point of a reference's digits after "&#": decimal, or
// hexadecimal after an "x"; no value unless every character is a digit and
// the number names a Unicode scalar value.
std::optional<char32_t> numericReference(std::u16string_view digits) {
  std::uint32_t base = 10;
  if (!digits.empty() && digits[0] == u'x') {
    base = 16;
    digits.remove_prefix(1);
  }
  if (digits.empty()) return std::nullopt;
  std::uint32_t value = 0;
  for (char16_t c : digits) {
    std::uint32_t digit;
    if (c >= u'0' && c <= u'9')
      digit = c - u'0';
    else if (base == 16 && c >= u'a' && c <= u'f')
      digit = c - u'a' + 10;
    else if (base == 16 && c >= u'A' && c <= u'F')
      digit = c - u'A' + 10;
    else
      return std::nullopt;
    value = value * base + digit;
    if (value > 0x10FFFF) return std::nullopt;
  }
  if (value >= 0xD800 && value <= 0xDFFF) return std::nullopt;
  return char32_t(value);
}

}  // namespace

std::u16string escapeXmlEntities(std::u16string_view text) {
  std::u16string out;
  out.reserve(text.size());
  for (char16_t c : text) {
    switch (c) {
      case u'&': out += u"&amp;"; break;
      case u'<': out += u"&lt;"; break;
      case u'>': out += u"&gt;"; break;
      case u'"': out += u"&quot;"; break;
      case u'\'': out += u"&apos;"; break;
      default: out += c;
    }
  }
  return out;
}

std::u16string unescapeXmlEntities(std::u16string_view text) {
  std::u16string out;
  out.reserve(text.size());
  std::size_t i = 0;
  while (i < text.size()) {
    std::size_t amp = text.find(u'&', i);
    if (amp == std::u16string_view::npos) break;
    out.append(text.substr(i, amp - i));
    i = amp + 1;  // what is not an entity is kept and read on after the '&'
    std::size_t semicolon = text.find(u';', i);
    if (semicolon == std::u16string_view::npos) {
      out += u'&';
      continue;
    }
    std::u16string_view name = text.substr(i, semicolon - i);
    std::optional<char32_t> character;
    if (!name.empty() && name[0] == u'#') {
      character = numericReference(name.substr(1));
    } else {
      for (const Entity& e : kEntities)
        if (name == e.name) character = e.character;
    }
    if (!character) {
      out += u'&';
      continue;
    }
    if (*character > 0xFFFF) {
      out += char16_t(U16_LEAD(*character));
      out += char16_t(U16_TRAIL(*character));
    } else {
      out += char16_t(*character);
    }
    i = semicolon + 1;
  }
  out.append(text.substr(std::min(i, text.size())));
  return out;
}

}  // namespace tessaro::text
