// Fording in: host values that a script cannot take back as they are become
// raw descriptors. Reals become "doub", dates "ldt " and file urls "furl",
// alone or one level inside a list or record; other values pass through.
#include <string>

#include "bridge/fording_walk.hpp"
#include "bridge/long_date.hpp"
#include "tessaro/krv_forder.hpp"

namespace tessaro {

namespace {

// Only numbers stored as floating point are reals to the bridge; integers
// and booleans go back as they are.
Value realDescriptor(const Value& number) {
  if (number.kind() != ValueKind::real) return number;
  return Value::descriptor(Descriptor::fromDouble(number.asReal()));
}

}  // namespace

Value KRVForder::KRV_fordIn_(const Value& v) {
  if (v.isList()) return KRV_fordListItemsIn_(v);
  if (v.isRecord()) return KRV_fordRecordValuesIn_(v);
  return KRV_fordItemIn_(v);
}

Value KRVForder::KRV_fordItemIn_(const Value& v) {
  if (v.isNumber()) return realDescriptor(v);
  if (v.isDate()) return KRV_fordDateFromNSDate_(v);
  if (v.isUrl()) return fileFromURL_(v);
  return v;  // data included: the plain conversion leaves it alone
}

Value KRVForder::KRV_fordListItemsIn_(const Value& list) {
  return fording::walkList(list, [](const Value& item) { return KRV_fordItemIn_(item); });
}

Value KRVForder::KRV_fordRecordValuesIn_(const Value& record) {
  return fording::walkRecord(record, [](const Value& item) { return KRV_fordItemIn_(item); });
}

Value KRVForder::KRV_fordIn_options_(const Value& v, const Value& mask) {
  if (v.isList()) return KRV_fordListItemsIn_options_(v, mask);
  if (v.isRecord()) return KRV_fordRecordValuesIn_options_(v, mask);
  return KRV_fordItemIn_options_(v, mask);
}

Value KRVForder::KRV_fordItemIn_options_(const Value& v, const Value& mask) {
  const std::uint64_t bits = fording::readMask(mask);
  // The tests run in this order; a number whose bit is set falls through the
  // later ones, which it never matches.
  if (v.isNumber() && fording::converts(bits, fording::kReals)) return realDescriptor(v);
  if (v.isDate() && fording::converts(bits, fording::kDates)) return KRV_fordDateFromNSDate_(v);
  if (v.isUrl() && fording::converts(bits, fording::kFiles)) return fileFromURL_(v);
  // Data goes to the operation that asks a descriptor for its payload; a data
  // value does not answer that, so this fails. Kept so, as scripts have always
  // seen it.
  if (v.isData() && fording::converts(bits, fording::kData)) return KRV_fordNSDataFromASData_(v);
  return v;
}

Value KRVForder::KRV_fordListItemsIn_options_(const Value& list, const Value& mask) {
  return fording::walkList(list, [&mask](const Value& item) { return KRV_fordItemIn_options_(item, mask); });
}

Value KRVForder::KRV_fordRecordValuesIn_options_(const Value& record, const Value& mask) {
  return fording::walkRecord(record, [&mask](const Value& item) { return KRV_fordItemIn_options_(item, mask); });
}

Value KRVForder::KRV_fordDateFromNSDate_(const Value& date) {
  if (date.isNothing()) return Value();
  if (!date.isDate()) doesNotAnswer(date, "timeIntervalSinceReferenceDate");
  return Value::descriptor(longDateFromDate(date.asDate()));
}

Value KRVForder::KRV_fordASDataFromNSData_(const Value& data) {
  if (data.isNothing()) return Value();
  if (!data.isData()) doesNotAnswer(data, "bytes");
  return Value::descriptor(Descriptor(codes::rawData, std::string(data.asData())));
}

}  // namespace tessaro
