// The tagged values of the notation: from the payload of {"$tag": payload},
// already read as a plain value, to the value the tag stands for. Every
// payload is checked strictly; what does not fit is a NotationError naming
// the tag.
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <memory>
#include <utility>

#include <openssl/evp.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include "interface/notation_tags.hpp"
#include "paths/svg_path_data.hpp"
#include "tessaro/host_objects.hpp"

namespace tessaro::notation {

namespace {

constexpr std::array<std::pair<std::string_view, Tag>, 13> kTags{{
    {"$nothing", Tag::nothing},
    {"$real", Tag::real},
    {"$date", Tag::date},
    {"$data", Tag::data},
    {"$url", Tag::url},
    {"$range", Tag::range},
    {"$indexSet", Tag::indexSet},
    {"$descriptor", Tag::descriptor},
    {"$record", Tag::record},
    {"$bezier", Tag::bezier},
    {"$color", Tag::color},
    {"$locale", Tag::locale},
    {"$script", Tag::script},
}};

// Seconds from 1970-01-01 to 2001-01-01, both GMT.
constexpr double kReferenceDateOffset = 978307200.0;

bool numberOf(const Value& v, double& out) noexcept {
  if (v.kind() == ValueKind::integer) {
    out = double(v.asInteger());
    return true;
  }
  if (v.kind() == ValueKind::real) {
    out = v.asReal();
    return true;
  }
  return false;
}

bool isAscii(std::u16string_view s) noexcept {
  return std::all_of(s.begin(), s.end(), [](char16_t c) { return c < 0x80; });
}
std::string asciiOf(std::u16string_view s) { return std::string(s.begin(), s.end()); }

// Strict UTF-8 of a string value: lone surrogates cannot be passed on.
bool utf8Of(std::u16string_view s, std::string& out) {
  out.clear();
  out.reserve(s.size());
  std::size_t i = 0;
  while (i < s.size()) {
    UChar32 c;
    U16_NEXT(s.data(), i, s.size(), c);
    if (U_IS_SURROGATE(c)) return false;
    char buffer[4];
    std::size_t n = 0;
    U8_APPEND_UNSAFE(buffer, n, c);
    out.append(buffer, n);
  }
  return true;
}

std::string stringPayload(const Value& payload, const char* tag) {
  std::string text;
  if (!payload.isString() || !utf8Of(payload.asString(), text)) malformed(std::string(tag) + " needs a string");
  return text;
}

Value realValue(const Value& payload) {
  double d;
  if (numberOf(payload, d)) return Value::real(d);
  if (payload.isString()) {
    std::u16string_view s = payload.asString();
    if (s == u"inf") return Value::real(HUGE_VAL);
    if (s == u"-inf") return Value::real(-HUGE_VAL);
    if (s == u"nan") return Value::real(std::nan(""));
  }
  malformed("$real takes \"inf\", \"-inf\" or \"nan\"");
}

Value dateValue(const Value& payload) {
  double d;
  if (numberOf(payload, d)) return Value::date(d);
  if (payload.isString() && isAscii(payload.asString())) {
    if (auto seconds = parseIsoDateTime(asciiOf(payload.asString()))) return Value::date(*seconds);
    malformed("$date: not an ISO 8601 date and time with a Z or an offset");
  }
  malformed("$date needs seconds since 2001-01-01 GMT or an ISO 8601 string");
}

bool isBase64Digit(char16_t c) noexcept {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/';
}

Value dataValue(const Value& payload) {
  if (!payload.isString()) malformed("$data needs a base64 string");
  std::u16string_view s = payload.asString();
  std::size_t digits = s.size();
  while (digits > 0 && s[digits - 1] == '=') --digits;
  std::size_t padding = s.size() - digits;
  bool valid = std::all_of(s.begin(), s.begin() + std::ptrdiff_t(digits), isBase64Digit) && digits % 4 != 1 &&
               (padding == 0 || (s.size() % 4 == 0 && padding <= 2));
  if (!valid) malformed("$data: malformed base64");
  // Padding may be left out; the decoder wants whole groups of four.
  std::string text = asciiOf(s.substr(0, digits));
  text.append((4 - digits % 4) % 4, '=');
  std::string bytes(text.size() / 4 * 3, '\0');
  int n = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                          reinterpret_cast<const unsigned char*>(text.data()), int(text.size()));
  if (n < 0) malformed("$data: malformed base64");
  // The decoder counts the bytes that the padding stands in for.
  bytes.resize(std::size_t(n) - (text.size() - digits));
  return Value::data(std::move(bytes));
}

Value urlValue(const Value& payload) {
  std::string url = stringPayload(payload, "$url");
  std::size_t colon = url.find(':');
  auto schemeChar = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '+' || c == '-' ||
           c == '.';
  };
  bool scheme = colon != std::string::npos && colon > 0 && ((url[0] | 0x20) >= 'a' && (url[0] | 0x20) <= 'z') &&
                std::all_of(url.begin(), url.begin() + std::ptrdiff_t(colon), schemeChar);
  if (!scheme) malformed("$url needs an absolute URL (with a scheme)");
  if (std::any_of(url.begin(), url.end(), [](char c) { return (unsigned char)c <= 0x20 || c == 0x7f; }))
    malformed("$url: white space or control characters in a URL");
  return Value::url(std::move(url));
}

bool indexOf(const Value& v, std::uint64_t& out) noexcept {
  if (v.kind() != ValueKind::integer || v.asInteger() < 0) return false;
  out = std::uint64_t(v.asInteger());
  return true;
}

Value rangeValue(const Value& payload) {
  std::uint64_t location, length;
  if (!payload.isList() || payload.asList().size() != 2 || !indexOf(payload.asList()[0], location) ||
      !indexOf(payload.asList()[1], length))
    malformed("$range needs [location, length], two non-negative integers");
  return Value::range(location, length);
}

Value indexSetValue(const Value& payload) {
  if (!payload.isList()) malformed("$indexSet needs a list of non-negative integers");
  std::vector<std::uint64_t> indexes;
  indexes.reserve(payload.asList().size());
  for (const Value& item : payload.asList()) {
    std::uint64_t i;
    if (!indexOf(item, i)) malformed("$indexSet needs a list of non-negative integers");
    indexes.push_back(i);
  }
  // Added as ascending runs, every addition lands at the end of the set.
  std::sort(indexes.begin(), indexes.end());
  IndexSet set;
  for (std::size_t i = 0; i < indexes.size();) {
    std::size_t j = i + 1;
    while (j < indexes.size() && indexes[j] <= indexes[j - 1] + 1) ++j;
    set.addRange(indexes[i], indexes[j - 1] - indexes[i] + 1);
    i = j;
  }
  return Value::indexSet(std::move(set));
}

std::string hexBytes(std::u16string_view hex) {
  auto nibble = [](char16_t c) -> int {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  };
  if (hex.size() % 2) malformed("$descriptor: \"hex\" needs an even number of hex digits");
  std::string bytes(hex.size() / 2, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    int high = nibble(hex[2 * i]), low = nibble(hex[2 * i + 1]);
    if (high < 0 || low < 0) malformed("$descriptor: \"hex\" holds a character that is not a hex digit");
    bytes[i] = char(high * 16 + low);
  }
  return bytes;
}

Descriptor descriptorOf(const Value& payload) {
  if (!payload.isRecord()) malformed("$descriptor needs {\"type\": …, \"hex\": …} or {\"type\": …, \"items\": …}");
  const Value *type = nullptr, *hex = nullptr, *items = nullptr;
  for (const auto& [key, value] : payload.asRecord().entries()) {
    std::u16string_view k = key.asString();
    if (k == u"type") type = &value;
    else if (k == u"hex") hex = &value;
    else if (k == u"items") items = &value;
    else malformed("$descriptor: unknown key (type, hex, items)");
  }
  std::optional<FourCC> code;
  if (!type || !type->isString() || !(code = fourCCFromText(type->asString())))
    malformed("$descriptor needs a \"type\" of four characters");
  if (bool(hex) == bool(items)) malformed("$descriptor needs either \"hex\" or \"items\"");
  if (hex) {
    if (!hex->isString()) malformed("$descriptor: \"hex\" needs a string");
    return Descriptor(*code, hexBytes(hex->asString()));
  }
  if (items->isList()) {
    if (*code != codes::list) malformed("$descriptor: a list of \"items\" needs the type \"list\"");
    std::vector<Descriptor> list;
    list.reserve(items->asList().size());
    for (const Value& item : items->asList()) {
      if (!item.isDescriptor()) malformed("$descriptor: every item must be a {\"$descriptor\": …}");
      list.push_back(item.asDescriptor());
    }
    return Descriptor::list(std::move(list));
  }
  if (items->isRecord()) {
    std::vector<Descriptor::Field> fields;
    fields.reserve(items->asRecord().size());
    for (const auto& [key, item] : items->asRecord().entries()) {
      auto keyword = fourCCFromText(key.asString());
      if (!keyword) malformed("$descriptor: a keyword must be four characters");
      if (!item.isDescriptor()) malformed("$descriptor: every item must be a {\"$descriptor\": …}");
      fields.emplace_back(*keyword, item.asDescriptor());
    }
    return Descriptor::record(std::move(fields), *code);
  }
  malformed("$descriptor: \"items\" needs a list or an object");
}

BezierPath::Point pointOf(const Value& v) {
  double x, y;
  if (!v.isList() || v.asList().size() != 2 || !numberOf(v.asList()[0], x) || !numberOf(v.asList()[1], y))
    malformed("$bezier: a point is [x, y], two numbers");
  return {x, y};
}

void readElements(const Value& list, std::vector<BezierPath::Element>& out) {
  static constexpr std::pair<std::u16string_view, BezierPath::ElementKind> kinds[] = {
      {u"moveto", BezierPath::ElementKind::moveTo},
      {u"lineto", BezierPath::ElementKind::lineTo},
      {u"curveto", BezierPath::ElementKind::curveTo},
      {u"closepath", BezierPath::ElementKind::closePath},
  };
  if (!list.isList()) malformed("$bezier: \"elements\" needs a list");
  out.reserve(list.asList().size());
  for (const Value& item : list.asList()) {
    if (!item.isList() || item.asList().empty() || !item.asList()[0].isString())
      malformed("$bezier: an element is [kind, point…]");
    std::span<const Value> parts = item.asList();
    auto kind = std::find_if(std::begin(kinds), std::end(kinds),
                             [&](const auto& k) { return k.first == parts[0].asString(); });
    if (kind == std::end(kinds)) malformed("$bezier: unknown element kind (moveto, lineto, curveto, closepath)");
    BezierPath::Element element;
    element.kind = kind->second;
    std::size_t points = element.kind == BezierPath::ElementKind::curveTo     ? 3
                         : element.kind == BezierPath::ElementKind::closePath ? 0
                                                                             : 1;
    if (parts.size() != points + 1) malformed("$bezier: wrong number of points for a " + asciiOf(kind->first));
    for (std::size_t i = 0; i < points; ++i) element.points[i] = pointOf(parts[i + 1]);
    out.push_back(element);
  }
}

Value bezierValue(const Value& payload) {
  auto path = std::make_unique<BezierPath>();
  if (payload.isString()) {
    std::string text, error;
    if (!utf8Of(payload.asString(), text) || !paths::parseSvgPathData(text, path->elements, error))
      malformed("$bezier: " + (error.empty() ? std::string("malformed path data") : error));
    return Value::object(path.release());
  }
  if (!payload.isRecord()) malformed("$bezier needs SVG path data or {\"elements\": […]}");
  bool sawElements = false;
  for (const auto& [key, value] : payload.asRecord().entries()) {
    std::u16string_view k = key.asString();
    if (k == u"elements") {
      readElements(value, path->elements);
      sawElements = true;
    } else if (k == u"dash") {
      path->dashWritten = true;
      if (!value.isList()) malformed("$bezier: \"dash\" needs a list of numbers");
      for (const Value& length : value.asList()) {
        double d;
        if (!numberOf(length, d)) malformed("$bezier: \"dash\" needs a list of numbers");
        path->dash.push_back(d);
      }
    } else if (k == u"phase") {
      path->phaseWritten = true;
      if (!numberOf(value, path->phase)) malformed("$bezier: \"phase\" needs a number");
    } else {
      malformed("$bezier: unknown key (elements, dash, phase)");
    }
  }
  if (!sawElements) malformed("$bezier needs \"elements\"");
  return Value::object(path.release());
}

Value colorValue(const Value& payload) {
  static constexpr std::pair<std::u16string_view, std::size_t> spaces[] = {{u"gray", 2}, {u"rgb", 4}, {u"cmyk", 5}};
  const Value *space = nullptr, *components = nullptr;
  if (payload.isRecord()) {
    for (const auto& [key, value] : payload.asRecord().entries()) {
      if (key.asString() == u"space") space = &value;
      else if (key.asString() == u"components") components = &value;
      else malformed("$color: unknown key (space, components)");
    }
  }
  if (!space || !components || !space->isString() || !components->isList())
    malformed("$color needs {\"space\": …, \"components\": […]}");
  auto known = std::find_if(std::begin(spaces), std::end(spaces),
                            [&](const auto& s) { return s.first == space->asString(); });
  if (known == std::end(spaces)) malformed("$color: unknown colour space (gray, rgb, cmyk)");
  if (components->asList().size() != known->second)
    malformed("$color: a " + asciiOf(known->first) + " colour has " + std::to_string(known->second) +
              " components, alpha included");
  auto color = std::make_unique<Color>();
  color->space = asciiOf(known->first);
  for (const Value& c : components->asList()) {
    double d;
    if (!numberOf(c, d)) malformed("$color: components are numbers");
    color->components.push_back(d);
  }
  return Value::object(color.release());
}

Value localeValue(const Value& payload) {
  auto allowed = [](char16_t c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-' ||
           c == '@' || c == '=' || c == ';' || c == '.' || c == '+' || c == '/';
  };
  if (!payload.isString() || payload.asString().empty() ||
      !std::all_of(payload.asString().begin(), payload.asString().end(), allowed))
    malformed("$locale needs a locale identifier such as \"fr_FR\"");
  auto locale = std::make_unique<LocaleObject>();
  locale->identifier = asciiOf(payload.asString());
  return Value::object(locale.release());
}

Value scriptValue(const Value& payload) {
  if (!payload.isRecord()) malformed("$script needs {\"command\": [program, argument…]} or {}");
  auto script = std::make_unique<ScriptTarget>();
  for (const auto& [key, value] : payload.asRecord().entries()) {
    if (key.asString() != u"command") malformed("$script: unknown key (command)");
    if (!value.isList() || value.asList().empty()) malformed("$script: \"command\" needs a program and its arguments");
    for (const Value& part : value.asList()) {
      std::string text;
      if (!part.isString() || !utf8Of(part.asString(), text) || text.find('\0') != std::string::npos)
        malformed("$script: the command's parts must be strings without NUL characters");
      script->command.push_back(std::move(text));
    }
  }
  return Value::object(script.release());
}

bool digitsAt(std::string_view t, std::size_t& i, int count, int& out) noexcept {
  if (i + std::size_t(count) > t.size()) return false;
  out = 0;
  for (int k = 0; k < count; ++k, ++i) {
    if (t[i] < '0' || t[i] > '9') return false;
    out = out * 10 + (t[i] - '0');
  }
  return true;
}

// Days from 1970-01-01 to the given day of the proleptic Gregorian calendar.
std::int64_t daysFromCivil(std::int64_t y, int m, int d) noexcept {
  y -= m <= 2;
  std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  std::int64_t yoe = y - era * 400;
  std::int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  std::int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

}  // namespace

std::optional<Tag> tagNamed(std::u16string_view key) noexcept {
  if (key.size() < 4 || key[0] != '$') return std::nullopt;
  for (const auto& [name, tag] : kTags)
    if (name.size() == key.size() && std::equal(name.begin(), name.end(), key.begin())) return tag;
  return std::nullopt;
}

std::optional<Tag> tagNamed(std::string_view key) noexcept {
  for (const auto& [name, tag] : kTags)
    if (name == key) return tag;
  return std::nullopt;
}

std::string_view tagName(Tag tag) noexcept { return kTags[std::size_t(tag)].first; }

std::optional<FourCC> fourCCFromText(std::u16string_view text) {
  std::string bytes;
  FourCC code;
  if (utf8Of(text, bytes) && fourCCFromString(bytes, code)) return code;
  if (text.size() == 4 && std::all_of(text.begin(), text.end(), [](char16_t c) { return c <= 0xFF; })) {
    bytes.assign(text.begin(), text.end());
    if (fourCCFromString(bytes, code)) return code;
  }
  return std::nullopt;
}

std::optional<double> parseIsoDateTime(std::string_view t) noexcept {
  std::size_t i = 0;
  int year, month, day, hour, minute, second = 0;
  auto expect = [&](char c) { return i < t.size() && t[i] == c ? (++i, true) : false; };
  if (!digitsAt(t, i, 4, year) || !expect('-') || !digitsAt(t, i, 2, month) || !expect('-') ||
      !digitsAt(t, i, 2, day))
    return std::nullopt;
  if (!(expect('T') || expect('t') || expect(' '))) return std::nullopt;
  if (!digitsAt(t, i, 2, hour) || !expect(':') || !digitsAt(t, i, 2, minute)) return std::nullopt;
  double fraction = 0;
  if (expect(':')) {
    if (!digitsAt(t, i, 2, second)) return std::nullopt;
    if (i < t.size() && (t[i] == '.' || t[i] == ',')) {
      std::string digits = "0.";
      for (++i; i < t.size() && t[i] >= '0' && t[i] <= '9'; ++i) digits.push_back(t[i]);
      if (digits.size() == 2) return std::nullopt;
      std::from_chars(digits.data(), digits.data() + digits.size(), fraction);
    }
  }
  int offset = 0;
  if (expect('Z') || expect('z')) {
    offset = 0;
  } else if (i < t.size() && (t[i] == '+' || t[i] == '-')) {
    int sign = t[i++] == '-' ? -1 : 1;
    int offsetHours, offsetMinutes = 0;
    if (!digitsAt(t, i, 2, offsetHours)) return std::nullopt;
    if (expect(':')) {
      if (!digitsAt(t, i, 2, offsetMinutes)) return std::nullopt;
    } else if (i < t.size()) {
      if (!digitsAt(t, i, 2, offsetMinutes)) return std::nullopt;
    }
    if (offsetHours > 23 || offsetMinutes > 59) return std::nullopt;
    offset = sign * (offsetHours * 3600 + offsetMinutes * 60);
  } else {
    return std::nullopt;  // a local time names no instant
  }
  if (i != t.size()) return std::nullopt;
  static constexpr int monthDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  if (month < 1 || month > 12 || day < 1 || day > monthDays[month - 1] + (month == 2 && leap)) return std::nullopt;
  if (hour > 23 || minute > 59 || second > 59) return std::nullopt;
  double unix = double(daysFromCivil(year, month, day)) * 86400.0 + hour * 3600 + minute * 60 + second - offset;
  return unix - kReferenceDateOffset + fraction;
}

Value valueFromTag(Tag tag, const Value& payload, bool topLevel, const ReadOptions& options) {
  switch (tag) {
    case Tag::nothing:
      if (!topLevel || !options.allowNothing) malformed("{\"$nothing\": true} is only allowed as a whole argument");
      if (payload.kind() != ValueKind::boolean || !payload.asBoolean()) malformed("$nothing takes true");
      return Value::nothing();
    case Tag::real:
      return realValue(payload);
    case Tag::date:
      return dateValue(payload);
    case Tag::data:
      return dataValue(payload);
    case Tag::url:
      return urlValue(payload);
    case Tag::range:
      return rangeValue(payload);
    case Tag::indexSet:
      return indexSetValue(payload);
    case Tag::descriptor:
      return Value::descriptor(descriptorOf(payload));
    case Tag::record:
      if (!payload.isRecord()) malformed("$record needs an object");
      return payload;
    case Tag::bezier:
      return bezierValue(payload);
    case Tag::color:
      return colorValue(payload);
    case Tag::locale:
      return localeValue(payload);
    case Tag::script:
      return scriptValue(payload);
  }
  malformed("unknown tag");
}

}  // namespace tessaro::notation
