// The bridge's entry commands: CocoaifyFrom: turns what a script received raw
// into host values, ASifyFrom: turns host values into what a script can take
// back. On a host whose bridge converts by itself the plain forms pass values
// through; the forTypes: forms always convert the kinds they name.
#include <string>
#include <string_view>
#include <vector>

#include <unicode/locid.h>

#include "bridge/fording_walk.hpp"
#include "bridge/unicode.hpp"
#include "registry/subsystems.hpp"
#include "tessaro/build_config.hpp"
#include "tessaro/krv_forder.hpp"
#include "tessaro/registry.hpp"

namespace tessaro {

namespace {

constexpr bool kBridgeConvertsNatively = TESSARO_BRIDGE_CONVERTS_NATIVELY != 0;

// ASifyFrom: converts reals, dates and files but leaves data alone.
constexpr std::uint64_t kASifyMask = fording::kData;

// The options mask named by a string of type words: it starts with every
// kind left alone, and each of "reals", "dates", "files" and "data" found
// anywhere in the lower-cased text (any order, any separators, even run
// together) clears its bit.
Value maskFromTypeWords(const Value& types) {
  if (types.isNothing()) return Value::integer(std::int64_t(fording::kNone));
  if (!types.isString()) doesNotAnswer(types, "lowercaseString");
  icu::UnicodeString lowered(icuView(types.asString()));
  lowered.toLower(icu::Locale::getRoot());
  const std::u16string_view text = viewOf(lowered);

  struct Word {
    std::u16string_view word;
    std::uint64_t bit;
  };
  static constexpr Word kWords[] = {
      {u"reals", fording::kReals}, {u"dates", fording::kDates}, {u"files", fording::kFiles}, {u"data", fording::kData}};
  std::uint64_t mask = fording::kNone;
  for (const Word& w : kWords)
    if (text.find(w.word) != std::u16string_view::npos) mask &= ~w.bit;
  return Value::integer(std::int64_t(mask));
}

}  // namespace

Value KRVForder::CocoaifyFrom_(const Value& v) {
  if constexpr (kBridgeConvertsNatively) return v;
  return KRV_fordOut_(v);
}

Value KRVForder::CocoaifyFrom_forTypes_(const Value& v, const Value& types) {
  return KRV_fordOut_options_(v, maskFromTypeWords(types));
}

Value KRVForder::ASifyFrom_(const Value& v) {
  if constexpr (kBridgeConvertsNatively) return v;
  return KRV_fordIn_options_(v, Value::integer(std::int64_t(kASifyMask)));
}

Value KRVForder::ASifyFrom_forTypes_(const Value& v, const Value& types) {
  return KRV_fordIn_options_(v, maskFromTypeWords(types));
}

// The one-item list lets the script receive the converted value without the
// bridge decoding it a second time. (On a natively converting host ASifyFrom:
// hands back the argument itself.)
Value KRVForder::ASifyInListFrom_(const Value& v) {
  Value item = ASifyFrom_(v);
  if (item.isNothing()) fording::noValueInserted("list");
  return Value::list({std::move(item)});
}

Value KRVForder::ASifyInListFrom_forTypes_(const Value& v, const Value& types) {
  Value item = ASifyFrom_forTypes_(v, types);
  if (item.isNothing()) fording::noValueInserted("list");
  return Value::list({std::move(item)});
}

void registerFordingCommands(Registry& r) {
  constexpr auto priv = Visibility::privateOperation;

  r.add<&KRVForder::CocoaifyFrom_>("CocoaifyFrom:");
  r.add<&KRVForder::CocoaifyFrom_forTypes_>("CocoaifyFrom:forTypes:");
  r.add<&KRVForder::ASifyFrom_>("ASifyFrom:");
  r.add<&KRVForder::ASifyFrom_forTypes_>("ASifyFrom:forTypes:");
  r.add<&KRVForder::ASifyInListFrom_>("ASifyInListFrom:");
  r.add<&KRVForder::ASifyInListFrom_forTypes_>("ASifyInListFrom:forTypes:");

  r.add<&KRVForder::KRV_fordOut_>("KRV_fordOut:", priv);
  r.add<&KRVForder::KRV_fordItemOut_>("KRV_fordItemOut:", priv);
  r.add<&KRVForder::KRV_fordListItemsOut_>("KRV_fordListItemsOut:", priv);
  r.add<&KRVForder::KRV_fordRecordValuesOut_>("KRV_fordRecordValuesOut:", priv);
  r.add<&KRVForder::KRV_fordOut_options_>("KRV_fordOut:options:", priv);
  r.add<&KRVForder::KRV_fordItemOut_options_>("KRV_fordItemOut:options:", priv);
  r.add<&KRVForder::KRV_fordListItemsOut_options_>("KRV_fordListItemsOut:options:", priv);
  r.add<&KRVForder::KRV_fordRecordValuesOut_options_>("KRV_fordRecordValuesOut:options:", priv);
  r.add<&KRVForder::KRV_fordURLFromAlias_>("KRV_fordURLFromAlias:", priv);
  r.add<&KRVForder::KRV_fordURLFromFile_>("KRV_fordURLFromFile:", priv);
  r.add<&KRVForder::KRV_fordDateFromASDate_>("KRV_fordDateFromASDate:", priv);
  r.add<&KRVForder::KRV_fordNSDataFromASData_>("KRV_fordNSDataFromASData:", priv);

  r.add<&KRVForder::KRV_fordIn_>("KRV_fordIn:", priv);
  r.add<&KRVForder::KRV_fordItemIn_>("KRV_fordItemIn:", priv);
  r.add<&KRVForder::KRV_fordListItemsIn_>("KRV_fordListItemsIn:", priv);
  r.add<&KRVForder::KRV_fordRecordValuesIn_>("KRV_fordRecordValuesIn:", priv);
  r.add<&KRVForder::KRV_fordIn_options_>("KRV_fordIn:options:", priv);
  r.add<&KRVForder::KRV_fordItemIn_options_>("KRV_fordItemIn:options:", priv);
  r.add<&KRVForder::KRV_fordListItemsIn_options_>("KRV_fordListItemsIn:options:", priv);
  r.add<&KRVForder::KRV_fordRecordValuesIn_options_>("KRV_fordRecordValuesIn:options:", priv);
  r.add<&KRVForder::KRV_fordDateFromNSDate_>("KRV_fordDateFromNSDate:", priv);
  r.add<&KRVForder::KRV_fordASDataFromNSData_>("KRV_fordASDataFromNSData:", priv);
}

}  // namespace tessaro
