// Registers the date commands (src/bridge/dates.cpp).
#include "registry/subsystems.hpp"
#include "tessaro/krv_forder.hpp"
#include "tessaro/registry.hpp"

namespace tessaro {

void registerDateCommands(Registry& r) {
  r.add<&KRVForder::datesFromStrings_format_>("datesFromStrings:format:");
  r.add<&KRVForder::stringsFromDates_format_>("stringsFromDates:format:");
  r.add<&KRVForder::dateValuesFrom_>("dateValuesFrom:");
  r.add<&KRVForder::extraDateValuesFrom_>("extraDateValuesFrom:");
  r.add<&KRVForder::timeValuesFrom_>("timeValuesFrom:");
  r.add<&KRVForder::KRV_fordDateFromString_>("KRV_fordDateFromString:", Visibility::privateOperation);
}

}  // namespace tessaro
