// The keyboard input sources of the session as IBus knows them: its engines
// (through libibus), the enabled list (the GSettings key
// org.freedesktop.ibus.general preload-engines, read and written through GIO
// so that whichever settings backend the session uses applies), and the
// global engine. Each command opens one session and closes it again: nothing
// is kept from one call to the next.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tessaro::platform {

// What the input-source commands need of one IBus engine description.
struct EngineInfo {
  std::string name;           // the identifier, such as "xkb:us::eng"
  std::string layout;         // the keyboard layout it declares ("us", "default", ...)
  std::string layoutVariant;  // the layout's variant, often empty
};

class IBusSession {
 public:
  // Connects to the daemon at IBUS_ADDRESS, or at the address the session's
  // IBus left in its socket file. Never fails: connected() tells.
  IBusSession();
  ~IBusSession();
  IBusSession(const IBusSession&) = delete;
  IBusSession& operator=(const IBusSession&) = delete;

  bool connected() const noexcept;

  // Every installed engine in the daemon's order (empty when not connected).
  std::vector<EngineInfo> installedEngines();
  // The global engine, when one is set.
  std::optional<EngineInfo> globalEngine();
  // Makes `name` the global engine; true when the daemon accepted it.
  bool setGlobalEngine(const std::string& name);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// The enabled list as stored, in its order. Empty when the settings schema is
// not installed.
std::vector<std::string> enabledEngineNames();
// Replaces the enabled list and waits until the settings backend has written
// it, so that a reader in another process sees it. False when the schema is
// not installed or the key cannot be written.
bool storeEnabledEngineNames(const std::vector<std::string>& names);

}  // namespace tessaro::platform
