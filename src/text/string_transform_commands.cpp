// The string transformation commands. Each takes a string, answering a
// string, or a list, answering a list of the same length with null for every
// item that is not a string or whose transformation fails; any other value
// gives no value.
#include "registry/subsystems.hpp"
#include "tessaro/krv_forder.hpp"
#include "tessaro/registry.hpp"
#include "text/string_transforms.hpp"
#include "text/text_arguments.hpp"
#include "text/value_buffer.hpp"

namespace tessaro {

namespace {

using text::TransformCode;

template <class Transform>
Value stringOrList(const Value& v, Transform&& transform) {
  if (v.isString()) return transform(v.asString());
  if (!v.isList()) return Value();
  text::ValueBuffer items;
  for (const Value& item : v.asList()) {
    Value done = item.isString() ? transform(item.asString()) : Value();
    items.push(done.isNothing() ? Value::null() : std::move(done));
  }
  return items.takeList(nullptr);
}

Value byCode(const Value& v, TransformCode code) {
  return KRVForder::KRV_stringOrListFrom_makingIt_(v, Value::integer(std::int64_t(code)));
}

std::u16string_view identifierArgument(const Value& identifier) {
  return text::stringArgument(identifier, "length");
}

}  // namespace

Value KRVForder::transformedFrom_ICUTransform_inverse_(const Value& v, const Value& identifier,
                                                      const Value& inverse) {
  text::IcuTransform transform(identifierArgument(identifier), inverse.boolValue());
  return stringOrList(v, [&](std::u16string_view s) { return transform.apply(s); });
}

Value KRVForder::KRV_stringFrom_ICUTransform_inverse_(const Value& string, const Value& identifier,
                                                     const Value& inverse) {
  if (string.isNothing()) return Value();
  std::u16string_view s = text::stringArgument(string, "mutableCopy");
  return text::IcuTransform(identifierArgument(identifier), inverse.boolValue()).apply(s);
}

Value KRVForder::KRV_stringOrListFrom_makingIt_(const Value& v, const Value& code) {
  text::FixedTransformer transformer(code.integerValue());
  return stringOrList(v, [&](std::u16string_view s) { return transformer.apply(s); });
}

Value KRVForder::KRV_stringFrom_makingIt_(const Value& string, const Value& code) {
  if (string.isNothing()) return Value();
  std::u16string_view s = text::stringArgument(string, "length");
  return text::FixedTransformer(code.integerValue()).apply(s);
}

Value KRVForder::encodedXMLFrom_(const Value& v) { return byCode(v, TransformCode::encodedXML); }
Value KRVForder::unencodedForXMLFrom_(const Value& v) { return byCode(v, TransformCode::unencodedForXML); }
Value KRVForder::encodedHexFrom_(const Value& v) { return byCode(v, TransformCode::encodedHex); }
Value KRVForder::encodedDecimalFrom_(const Value& v) { return byCode(v, TransformCode::encodedDecimal); }
Value KRVForder::decodedDecimalFrom_(const Value& v) { return byCode(v, TransformCode::decodedDecimal); }
Value KRVForder::MD5From_(const Value& v) { return byCode(v, TransformCode::md5); }
Value KRVForder::smartQuotedFrom_(const Value& v) { return byCode(v, TransformCode::smartQuoted); }
Value KRVForder::unsmartQuotedFrom_(const Value& v) { return byCode(v, TransformCode::unsmartQuoted); }
Value KRVForder::emptyLineFreeFrom_(const Value& v) { return byCode(v, TransformCode::emptyLineFree); }
Value KRVForder::cleanSpacedFrom_(const Value& v) { return byCode(v, TransformCode::cleanSpaced); }

void registerStringTransformCommands(Registry& r) {
  r.add<&KRVForder::transformedFrom_ICUTransform_inverse_>("transformedFrom:ICUTransform:inverse:");
  r.add<&KRVForder::encodedXMLFrom_>("encodedXMLFrom:");
  r.add<&KRVForder::unencodedForXMLFrom_>("unencodedForXMLFrom:");
  r.add<&KRVForder::encodedHexFrom_>("encodedHexFrom:");
  r.add<&KRVForder::encodedDecimalFrom_>("encodedDecimalFrom:");
  r.add<&KRVForder::decodedDecimalFrom_>("decodedDecimalFrom:");
  r.add<&KRVForder::MD5From_>("MD5From:");
  r.add<&KRVForder::smartQuotedFrom_>("smartQuotedFrom:");
  r.add<&KRVForder::unsmartQuotedFrom_>("unsmartQuotedFrom:");
  r.add<&KRVForder::emptyLineFreeFrom_>("emptyLineFreeFrom:");
  r.add<&KRVForder::cleanSpacedFrom_>("cleanSpacedFrom:");
  r.add<&KRVForder::KRV_stringOrListFrom_makingIt_>("KRV_stringOrListFrom:makingIt:", Visibility::privateOperation);
  r.add<&KRVForder::KRV_stringFrom_makingIt_>("KRV_stringFrom:makingIt:", Visibility::privateOperation);
  r.add<&KRVForder::KRV_stringFrom_ICUTransform_inverse_>("KRV_stringFrom:ICUTransform:inverse:",
                                                          Visibility::privateOperation);
}

}  // namespace tessaro
