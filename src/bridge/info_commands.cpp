// The informational bridge commands and the event-queue drain.
#include "registry/subsystems.hpp"
#include "tessaro/build_config.hpp"
#include "tessaro/krv_forder.hpp"
#include "tessaro/registry.hpp"

namespace tessaro {

Value KRVForder::frameworkVersion() {
  // Made once: scripts ask for it often, as a cheap check that the library answers.
  static const Value version = Value::fromUtf8(TESSARO_VERSION_STRING);
  return version;
}

// The compiler's date and time of this build, "Apr 24 2016, 22:32:38".
Value KRVForder::frameworkDate() { return Value::fromUtf8(__DATE__ ", " __TIME__); }

// There is no host application event queue on Linux, so there is nothing to
// drain.
void KRVForder::fordEvent() {}

void registerBridgeInfoCommands(Registry& r) {
  r.add<&KRVForder::frameworkVersion>("frameworkVersion");
  r.add<&KRVForder::frameworkDate>("frameworkDate");
  r.add<&KRVForder::fordEvent>("fordEvent");
}

}  // namespace tessaro
