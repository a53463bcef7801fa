// The keyboard input-source commands and their registration. On Linux the
// sources are IBus's engines; see platform/ibus_engines.hpp for where each
// piece of state lives. Without a reachable IBus the listings are empty, the
// current sources are no value and switching answers false, whatever the
// settings hold.
#include <algorithm>
#include <vector>

#include "platform/ibus_engines.hpp"
#include "registry/subsystems.hpp"
#include "services/input_sources.hpp"
#include "tessaro/krv_forder.hpp"
#include "tessaro/registry.hpp"

namespace tessaro {

namespace {

using platform::EngineInfo;

Value identifierList(const std::vector<EngineInfo>& engines) {
  std::vector<Value> ids;
  ids.reserve(engines.size());
  for (const EngineInfo& e : engines) ids.push_back(Value::fromUtf8(e.name));
  return Value::list(std::move(ids));
}

std::vector<EngineInfo> enabledOf(const std::vector<EngineInfo>& installed) {
  std::vector<std::string> names = platform::enabledEngineNames();
  return services::enabledEngines(installed, names);
}

}  // namespace

Value KRVForder::availableInputSourceIDs() {
  platform::IBusSession ibus;
  if (!ibus.connected()) return Value::list({});
  return identifierList(enabledOf(ibus.installedEngines()));
}

Value KRVForder::allAvailableInputSourceIDs() {
  platform::IBusSession ibus;
  return identifierList(ibus.installedEngines());
}

// An identifier that is installed but not enabled is appended to the end of
// the enabled list first; when that list cannot be written nothing is
// selected.
bool KRVForder::changeInputSourceTo_(const Value& identifier) {
  if (!identifier.isString()) return false;
  std::string name = identifier.toUtf8();
  // A lone surrogate does not survive the trip to UTF-8, and no engine can
  // carry one in its name.
  if (!Value::fromUtf8(name).equals(identifier)) return false;
  platform::IBusSession ibus;
  if (!ibus.connected()) return false;
  std::vector<EngineInfo> installed = ibus.installedEngines();
  if (std::none_of(installed.begin(), installed.end(), [&](const EngineInfo& e) { return e.name == name; }))
    return false;
  std::vector<std::string> enabledNames = platform::enabledEngineNames();
  if (std::find(enabledNames.begin(), enabledNames.end(), name) == enabledNames.end()) {
    enabledNames.push_back(name);
    if (!platform::storeEnabledEngineNames(enabledNames)) return false;
  }
  return ibus.setGlobalEngine(name);
}

Value KRVForder::currentKeyboardInputSourceID() {
  platform::IBusSession ibus;
  std::optional<EngineInfo> current = ibus.globalEngine();
  return current ? Value::fromUtf8(current->name) : Value();
}

Value KRVForder::currentKeyboardLayoutInputSourceID() {
  platform::IBusSession ibus;
  if (!ibus.connected()) return Value();
  std::vector<EngineInfo> installed = ibus.installedEngines();
  std::optional<std::string> layout =
      services::layoutSourceFor(ibus.globalEngine(), enabledOf(installed), installed);
  return layout ? Value::fromUtf8(*layout) : Value();
}

void registerInputSourceCommands(Registry& r) {
  r.add<&KRVForder::availableInputSourceIDs>("availableInputSourceIDs");
  r.add<&KRVForder::allAvailableInputSourceIDs>("allAvailableInputSourceIDs");
  r.add<&KRVForder::changeInputSourceTo_>("changeInputSourceTo:");
  r.add<&KRVForder::currentKeyboardInputSourceID>("currentKeyboardInputSourceID");
  r.add<&KRVForder::currentKeyboardLayoutInputSourceID>("currentKeyboardLayoutInputSourceID");
}

}  // namespace tessaro
