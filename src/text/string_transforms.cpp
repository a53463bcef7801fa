#include "text/string_transforms.hpp"

#include <openssl/evp.h>

#include <string>

#include "bridge/unicode.hpp"
#include "text/xml_entities.hpp"

namespace tessaro::text {

IcuTransform::IcuTransform(std::u16string_view identifier, bool inverse) {
  UErrorCode status = U_ZERO_ERROR;
  UParseError parseError;
  transliterator_.reset(icu::Transliterator::createInstance(
      icuView(identifier), inverse ? UTRANS_REVERSE : UTRANS_FORWARD, parseError, status));
  if (U_FAILURE(status)) transliterator_.reset();
}

IcuTransform::~IcuTransform() = default;

Value IcuTransform::apply(std::u16string_view text) const {
  if (!transliterator_) return Value();
  icu::UnicodeString s(text.data(), int32_t(text.size()));
  transliterator_->transliterate(s);
  if (s.isBogus()) return Value();
  return valueFromIcu(s);
}

std::u16string md5Hex(std::u16string_view text) {
  std::string bytes = utf8FromValidUtf16(text).value_or(std::string());
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  if (!EVP_Digest(bytes.data(), bytes.size(), digest, &length, EVP_md5(), nullptr)) return {};
  static constexpr char16_t kHex[] = u"0123456789abcdef";
  std::u16string hex;
  for (unsigned int i = 0; i < length; ++i) {
    hex += kHex[digest[i] >> 4];
    hex += kHex[digest[i] & 15];
  }
  return hex;
}

FixedTransformer::FixedTransformer(std::int64_t code) : code_(code) {
  switch (TransformCode(code)) {
    case TransformCode::encodedHex:
      transform_.emplace(u"[^\\x20-\\x7e]-Hex/XML", false);
      break;
    case TransformCode::encodedDecimal:
      transform_.emplace(u"[^\\x20-\\x7e]-Hex/XML10", false);
      break;
    case TransformCode::decodedDecimal:
      transform_.emplace(u"Hex-Any", false);
      break;
    case TransformCode::smartQuoted:
      // An apostrophe before a decade ('90s) closes; one after white space,
      // a tag's '>' or at the very start opens; every other one closes. The
      // same for double quotes, without the decades.
      addReplacement(u"'(\\d{2}'?s)", u"\u2019$1");
      addReplacement(u"(\\s|>)'", u"$1\u2018");
      addReplacement(u"^'", u"\u2018");
      addReplacement(u"'", u"\u2019");
      addReplacement(u"(\\s|>)\"", u"$1\u201C");
      addReplacement(u"^\"", u"\u201C");
      addReplacement(u"\"", u"\u201D");
      break;
    case TransformCode::emptyLineFree:
      addReplacement(u"(?m)^[ \t]*[\r\n]", u"");
      addReplacement(u"[\r\n][ \t]*$", u"");
      break;
    case TransformCode::cleanSpaced:
      addReplacement(u"(?m)^ +", u"");
      addReplacement(u"(?m) +$", u"");
      addReplacement(u"  +", u" ");
      break;
    default:
      break;
  }
}

FixedTransformer::~FixedTransformer() = default;

void FixedTransformer::addReplacement(std::u16string_view pattern, std::u16string_view replacement) {
  UErrorCode status = U_ZERO_ERROR;
  UParseError parseError;
  std::unique_ptr<icu::RegexPattern> compiled(icu::RegexPattern::compile(icuView(pattern), 0, parseError, status));
  if (U_FAILURE(status)) compiled.reset();
  replacements_.push_back({std::move(compiled), icu::UnicodeString(replacement.data(), int32_t(replacement.size()))});
}

Value FixedTransformer::replaceAll(std::u16string_view text) const {
  icu::UnicodeString current(text.data(), int32_t(text.size()));
  for (const Replacement& r : replacements_) {
    if (!r.pattern) return Value();
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::RegexMatcher> matcher(r.pattern->matcher(current, status));
    if (U_FAILURE(status)) return Value();
    icu::UnicodeString next = matcher->replaceAll(r.replacement, status);
    if (U_FAILURE(status)) return Value();
    matcher.reset();  // it refers to `current`
    current = std::move(next);
  }
  return valueFromIcu(current);
}

Value FixedTransformer::apply(std::u16string_view text) {
  switch (TransformCode(code_)) {
    case TransformCode::encodedXML:
      return Value::string(escapeXmlEntities(text));
    case TransformCode::unencodedForXML:
      return Value::string(unescapeXmlEntities(text));
    case TransformCode::encodedHex:
    case TransformCode::encodedDecimal:
    case TransformCode::decodedDecimal:
      return transform_->apply(text);
    case TransformCode::md5:
      return Value::string(md5Hex(text));
    case TransformCode::smartQuoted:
    case TransformCode::emptyLineFree:
    case TransformCode::cleanSpaced:
      return replaceAll(text);
    case TransformCode::unsmartQuoted: {
      std::u16string out(text);
      for (char16_t& c : out) {
        if (c == u'\u2018' || c == u'\u2019') c = u'\'';
        else if (c == u'\u201C' || c == u'\u201D') c = u'"';
      }
      return Value::string(out);
    }
  }
  return Value::string(text);  // any other code leaves the string as it is
}

}  // namespace tessaro::text
