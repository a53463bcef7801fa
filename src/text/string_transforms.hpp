// The fixed string transformations chosen by a numeric code, and ICU
// transliteration by identifier. A transformer lives for one call: what it
// compiles (transliterators, patterns) serves every item of a list.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include <unicode/regex.h>
#include <unicode/translit.h>

#include "tessaro/value.hpp"

namespace tessaro::text {

enum class TransformCode : std::int64_t {
  encodedXML = 0,
  unencodedForXML = 1,
  encodedHex = 2,
  encodedDecimal = 3,
  decodedDecimal = 4,
  md5 = 5,
  smartQuoted = 6,
  unsmartQuoted = 7,
  emptyLineFree = 8,
  cleanSpaced = 9,
};

// An ICU transliterator given by its identifier (a compound one and filters
// included), run forwards or backwards.
class IcuTransform {
 public:
  IcuTransform(std::u16string_view identifier, bool inverse);
  ~IcuTransform();
  bool valid() const noexcept { return transliterator_ != nullptr; }
  // No value when the identifier is not one ICU knows.
  Value apply(std::u16string_view text) const;

 private:
  std::unique_ptr<icu::Transliterator> transliterator_;
};

class FixedTransformer {
 public:
  explicit FixedTransformer(std::int64_t code);
  ~FixedTransformer();
  // No value when the transformation fails.
  Value apply(std::u16string_view text);

 private:
  // A pattern and its replacement template, applied to all matches at once.
  struct Replacement {
    std::unique_ptr<icu::RegexPattern> pattern;
    icu::UnicodeString replacement;
  };
  void addReplacement(std::u16string_view pattern, std::u16string_view replacement);
  Value replaceAll(std::u16string_view text) const;

  std::int64_t code_;
  std::optional<IcuTransform> transform_;
  std::vector<Replacement> replacements_;
};

// 32 lower-case hexadecimal digits of the MD5 digest of the text's UTF-8
// form (of empty input when the text holds a lone surrogate).
std::u16string md5Hex(std::u16string_view text);

}  // namespace tessaro::text
