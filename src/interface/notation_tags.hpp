// The tags of the value notation ("$date", "$url", …) and the reading of a
// tagged object's payload into the value it stands for. Shared by the reader
// and the printer.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tessaro/notation.hpp"
#include "tessaro/value.hpp"

namespace tessaro::notation {

enum class Tag : std::uint8_t {
  nothing,
  real,
  date,
  data,
  url,
  range,
  indexSet,
  descriptor,
  record,
  bezier,
  color,
  locale,
  script,
};

// The tag a key names, if it names one.
std::optional<Tag> tagNamed(std::u16string_view key) noexcept;
std::optional<Tag> tagNamed(std::string_view key) noexcept;
std::string_view tagName(Tag tag) noexcept;

// The value of the one-key object {tag: payload}. `topLevel` is true for the
// outermost value of a text. Throws NotationError when the payload does not
// fit the tag.
Value valueFromTag(Tag tag, const Value& payload, bool topLevel, const ReadOptions& options);

// The four-character code of a descriptor's type or keyword: four UTF-8
// bytes, or four characters up to U+00FF standing for one byte each (the form
// the printer uses for codes that are not UTF-8).
std::optional<FourCC> fourCCFromText(std::u16string_view text);

// Seconds since 2001-01-01 00:00:00 GMT of an ISO 8601 date and time with a
// "Z" or a numeric offset, such as "2016-04-19T08:12:38.5+02:00".
std::optional<double> parseIsoDateTime(std::string_view text) noexcept;

[[noreturn]] inline void malformed(const std::string& message) { throw NotationError(message); }

}  // namespace tessaro::notation
