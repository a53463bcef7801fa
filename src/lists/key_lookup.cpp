// Named-property lookup on values; see key_lookup.hpp for the keys.
#include "lists/key_lookup.hpp"

#include <cmath>
#include <string>

#include <unicode/locid.h>

#include "bridge/unicode.hpp"
#include "tessaro/errors.hpp"
#include "tessaro/notation.hpp"

namespace tessaro::lists {

namespace {

[[noreturn]] void noSuchKey(const Value& v, std::u16string_view key) {
  throwFailure(FailureKind::unrecognizedSelector, "[<" + std::string(kindName(v.kind())) +
                                                      "> valueForUndefinedKey:]: this value is not key value coding-compliant for the key " +
                                                      utf8FromUtf16(key) + ".");
}

// Seconds between 1970-01-01 and 2001-01-01.
constexpr double kReferenceDateSince1970 = 978307200.0;

Value numberAsString(const Value& v) {
  if (v.kind() == ValueKind::real) {
    const double d = v.asReal();
    // Whole reals print without a fraction, as integers do.
    if (std::isfinite(d) && d == std::trunc(d) && std::fabs(d) < 1e15)
      return Value::fromUtf8(std::to_string(std::int64_t(d)));
    std::string text;
    printReal(d, text);
    return Value::fromUtf8(text);
  }
  return Value::fromUtf8(std::to_string(v.integerValue()));
}

Value scalarReading(const Value& v, std::u16string_view key) {
  if (key == u"intValue") return Value::integer(std::int32_t(v.integerValue()));
  if (key == u"integerValue") return Value::integer(v.integerValue());
  if (key == u"doubleValue") return Value::real(v.doubleValue());
  if (key == u"boolValue") return Value::boolean(v.boolValue());
  return Value();
}

Value stringProperty(const Value& v, std::u16string_view key) {
  if (key == u"length") return Value::integer(std::int64_t(v.asString().size()));
  if (key == u"lowercaseString" || key == u"uppercaseString") {
    icu::UnicodeString text = icuView(v.asString());
    if (key == u"lowercaseString")
      text.toLower(icu::Locale::getRoot());
    else
      text.toUpper(icu::Locale::getRoot());
    return valueFromIcu(text);
  }
  return scalarReading(v, key);
}

}  // namespace

Value valueForKey(const Value& v, const Value& key) {
  if (!key.isString()) throwFailure(FailureKind::unrecognizedSelector, "a key must be a string");
  const std::u16string_view name = key.asString();
  if (name == u"self") return v;
  Value found;
  switch (v.kind()) {
    case ValueKind::record: {
      const Value* entry = v.asRecord().find(name);
      return entry ? *entry : Value();
    }
    case ValueKind::list: {
      std::span<const Value> items = v.asList();
      std::vector<Value> mapped;
      mapped.reserve(items.size());
      for (const Value& item : items) {
        Value one = valueForKey(item, key);
        mapped.push_back(one.isNothing() ? Value::null() : std::move(one));
      }
      return Value::list(std::move(mapped));
    }
    case ValueKind::string:
      found = stringProperty(v, name);
      break;
    case ValueKind::boolean:
    case ValueKind::integer:
    case ValueKind::real:
      found = name == u"stringValue" ? numberAsString(v) : scalarReading(v, name);
      break;
    case ValueKind::date:
      if (name == u"timeIntervalSinceReferenceDate") found = Value::real(v.asDate());
      if (name == u"timeIntervalSince1970") found = Value::real(v.asDate() + kReferenceDateSince1970);
      break;
    default:
      break;
  }
  if (found.isNothing()) noSuchKey(v, name);
  return found;
}

}  // namespace tessaro::lists
