// Fording out: raw descriptors handed over by a script become host values.
// File references become urls and date-times become dates, alone or one level
// inside a list or record; every other value passes through untouched.
#include <string>

#include "bridge/fording_walk.hpp"
#include "bridge/long_date.hpp"
#include "platform/file_references.hpp"
#include "tessaro/krv_forder.hpp"

namespace tessaro {

namespace {

// A url from a URL string (not a path); no value when the text is not a
// valid absolute URL.
Value urlFromString(std::string text) {
  if (!platform::isValidURLString(text)) return Value();
  return Value::url(std::move(text));
}

// The descriptor a leaf converter works on; the host fails when it is handed
// anything else, since only descriptors answer for their payload.
const Descriptor& descriptorOf(const Value& v) {
  if (!v.isDescriptor()) doesNotAnswer(v, "data");
  return v.asDescriptor();
}

}  // namespace

Value KRVForder::KRV_fordOut_(const Value& v) {
  if (v.isList()) return KRV_fordListItemsOut_(v);
  if (v.isRecord()) return KRV_fordRecordValuesOut_(v);
  return KRV_fordItemOut_(v);
}

Value KRVForder::KRV_fordItemOut_(const Value& v) {
  if (!v.isDescriptor()) return v;
  switch (v.asDescriptor().type()) {
    case codes::alias:
    case codes::bookmark:
      return KRV_fordURLFromAlias_(v);
    case codes::fileURL:
      return KRV_fordURLFromFile_(v);
    case codes::longDateTime:
      return KRV_fordDateFromASDate_(v);
    default:
      return v;  // "tdta" included: the plain conversion leaves raw data alone
  }
}

Value KRVForder::KRV_fordListItemsOut_(const Value& list) {
  return fording::walkList(list, [](const Value& item) { return KRV_fordItemOut_(item); });
}

Value KRVForder::KRV_fordRecordValuesOut_(const Value& record) {
  return fording::walkRecord(record, [](const Value& item) { return KRV_fordItemOut_(item); });
}

Value KRVForder::KRV_fordOut_options_(const Value& v, const Value& mask) {
  if (v.isList()) return KRV_fordListItemsOut_options_(v, mask);
  if (v.isRecord()) return KRV_fordRecordValuesOut_options_(v, mask);
  return KRV_fordItemOut_options_(v, mask);
}

Value KRVForder::KRV_fordItemOut_options_(const Value& v, const Value& mask) {
  if (!v.isDescriptor()) return v;
  const std::uint64_t bits = fording::readMask(mask);
  switch (v.asDescriptor().type()) {
    case codes::alias:
    case codes::bookmark:
      return fording::converts(bits, fording::kFiles) ? KRV_fordURLFromAlias_(v) : v;
    case codes::fileURL:
      return fording::converts(bits, fording::kFiles) ? KRV_fordURLFromFile_(v) : v;
    case codes::longDateTime:
      return fording::converts(bits, fording::kDates) ? KRV_fordDateFromASDate_(v) : v;
    case codes::rawData:
      // Raw data goes to the operation that wraps a data value, with the
      // descriptor standing in for the data; the descriptor does not answer
      // as data, so this fails. Kept so, as scripts have always seen it.
      return fording::converts(bits, fording::kData) ? KRV_fordASDataFromNSData_(v) : v;
    default:
      return v;
  }
}

Value KRVForder::KRV_fordListItemsOut_options_(const Value& list, const Value& mask) {
  return fording::walkList(list, [&mask](const Value& item) { return KRV_fordItemOut_options_(item, mask); });
}

Value KRVForder::KRV_fordRecordValuesOut_options_(const Value& record, const Value& mask) {
  return fording::walkRecord(record, [&mask](const Value& item) { return KRV_fordItemOut_options_(item, mask); });
}

Value KRVForder::KRV_fordURLFromAlias_(const Value& descriptor) {
  if (descriptor.isNothing()) return Value();
  std::optional<std::string> payload = platform::coerceToFileURL(descriptorOf(descriptor));
  if (!payload) return Value();
  return urlFromString(std::move(*payload));
}

Value KRVForder::KRV_fordURLFromFile_(const Value& descriptor) {
  if (descriptor.isNothing()) return Value();
  return urlFromString(std::string(descriptorOf(descriptor).data()));
}

Value KRVForder::KRV_fordDateFromASDate_(const Value& descriptor) {
  if (descriptor.isNothing()) return Value();
  return Value::date(dateFromLongDatePayload(descriptorOf(descriptor).data()));
}

Value KRVForder::KRV_fordNSDataFromASData_(const Value& descriptor) {
  if (descriptor.isNothing()) return Value();
  return Value::data(std::string(descriptorOf(descriptor).data()));
}

}  // namespace tessaro
