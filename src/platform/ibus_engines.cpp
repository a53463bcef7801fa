// IBus engines through libibus and the enabled list through GIO's GSettings.
//
// Every session runs with a main context of its own pushed as the thread's
// default: the D-Bus connection and the settings object queue their signals
// there rather than on the process's default context (which nobody iterates
// in a script's process, so they would pile up call after call), and the
// context is drained and dropped when the session ends.
#include "platform/ibus_engines.hpp"

#include <gio/gio.h>
#include <ibus.h>

#include <mutex>

namespace tessaro::platform {

namespace {

constexpr const char* kGeneralSchema = "org.freedesktop.ibus.general";
constexpr const char* kPreloadKey = "preload-engines";

// Pushes a fresh main context as the thread's default for its lifetime, then
// dispatches whatever the session left on it.
class PrivateContext {
 public:
  PrivateContext() : context_(g_main_context_new()) { g_main_context_push_thread_default(context_); }
  ~PrivateContext() {
    while (g_main_context_iteration(context_, FALSE)) {
    }
    g_main_context_pop_thread_default(context_);
    g_main_context_unref(context_);
  }
  PrivateContext(const PrivateContext&) = delete;
  PrivateContext& operator=(const PrivateContext&) = delete;

 private:
  GMainContext* context_;
};

std::string text(const gchar* s) { return s ? std::string(s) : std::string(); }

EngineInfo infoOf(IBusEngineDesc* desc) {
  return EngineInfo{text(ibus_engine_desc_get_name(desc)), text(ibus_engine_desc_get_layout(desc)),
                    text(ibus_engine_desc_get_layout_variant(desc))};
}

void initialiseIBus() {
  static std::once_flag once;
  std::call_once(once, [] { ibus_init(); });
}

// The settings object for the enabled list, or null when the schema is not
// installed (g_settings_new would abort the process).
GSettings* generalSettings() {
  GSettingsSchemaSource* source = g_settings_schema_source_get_default();
  if (!source) return nullptr;
  GSettingsSchema* schema = g_settings_schema_source_lookup(source, kGeneralSchema, TRUE);
  if (!schema) return nullptr;
  GSettings* settings = nullptr;
  if (g_settings_schema_has_key(schema, kPreloadKey)) settings = g_settings_new_full(schema, nullptr, nullptr);
  g_settings_schema_unref(schema);
  return settings;
}

}  // namespace

struct IBusSession::State {
  PrivateContext context;  // declared first: it outlives the bus
  IBusBus* bus = nullptr;
  ~State() {
    if (bus) g_object_unref(bus);
  }
};

// When no address is known at all there is nothing to connect to, and the
// bus object is not made: making one creates IBus's socket folder under the
// user's configuration folder.
IBusSession::IBusSession() : state_(std::make_unique<State>()) {
  initialiseIBus();
  if (ibus_get_address()) state_->bus = ibus_bus_new();
}

IBusSession::~IBusSession() = default;

bool IBusSession::connected() const noexcept { return state_->bus && ibus_bus_is_connected(state_->bus); }

std::vector<EngineInfo> IBusSession::installedEngines() {
  std::vector<EngineInfo> engines;
  if (!connected()) return engines;
  GList* list = ibus_bus_list_engines(state_->bus);
  for (GList* item = list; item; item = item->next)
    if (IBUS_IS_ENGINE_DESC(item->data)) engines.push_back(infoOf(IBUS_ENGINE_DESC(item->data)));
  g_list_free_full(list, g_object_unref);
  return engines;
}

// Read as the D-Bus property directly: libibus's own getter reports "no
// global engine" as a warning on standard error, and here it is an ordinary
// answer.
std::optional<EngineInfo> IBusSession::globalEngine() {
  if (!connected()) return std::nullopt;
  GDBusConnection* connection = ibus_bus_get_connection(state_->bus);
  if (!connection) return std::nullopt;
  GError* error = nullptr;
  GVariant* reply = g_dbus_connection_call_sync(
      connection, IBUS_SERVICE_IBUS, IBUS_PATH_IBUS, "org.freedesktop.DBus.Properties", "Get",
      g_variant_new("(ss)", IBUS_INTERFACE_IBUS, "GlobalEngine"), G_VARIANT_TYPE("(v)"),
      G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, nullptr, &error);
  if (!reply) {
    g_clear_error(&error);
    return std::nullopt;
  }
  GVariant* serialized = nullptr;
  g_variant_get(reply, "(v)", &serialized);
  g_variant_unref(reply);
  std::optional<EngineInfo> result;
  IBusSerializable* object = ibus_serializable_deserialize(serialized);
  g_variant_unref(serialized);
  if (object) {
    g_object_ref_sink(object);
    if (IBUS_IS_ENGINE_DESC(object)) result = infoOf(IBUS_ENGINE_DESC(object));
    g_object_unref(object);
  }
  if (result && result->name.empty()) result.reset();
  return result;
}

// Called directly for the same reason as the getter: a refusal is an
// answer (false), not something to print.
bool IBusSession::setGlobalEngine(const std::string& name) {
  if (!connected()) return false;
  GDBusConnection* connection = ibus_bus_get_connection(state_->bus);
  if (!connection) return false;
  GError* error = nullptr;
  GVariant* reply = g_dbus_connection_call_sync(connection, IBUS_SERVICE_IBUS, IBUS_PATH_IBUS,
                                                IBUS_INTERFACE_IBUS, "SetGlobalEngine",
                                                g_variant_new("(s)", name.c_str()), nullptr,
                                                G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, nullptr, &error);
  if (!reply) {
    g_clear_error(&error);
    return false;
  }
  g_variant_unref(reply);
  return true;
}

std::vector<std::string> enabledEngineNames() {
  PrivateContext context;
  std::vector<std::string> names;
  GSettings* settings = generalSettings();
  if (!settings) return names;
  gchar** stored = g_settings_get_strv(settings, kPreloadKey);
  for (gchar** s = stored; s && *s; ++s) names.emplace_back(*s);
  g_strfreev(stored);
  g_object_unref(settings);
  return names;
}

bool storeEnabledEngineNames(const std::vector<std::string>& names) {
  PrivateContext context;
  GSettings* settings = generalSettings();
  if (!settings) return false;
  std::vector<const gchar*> array;
  array.reserve(names.size() + 1);
  for (const std::string& n : names) array.push_back(n.c_str());
  array.push_back(nullptr);
  bool stored = g_settings_set_strv(settings, kPreloadKey, array.data());
  // The backend may write later (dconf writes over D-Bus); waiting here
  // means a fresh reader, in this process or another, sees the new list.
  g_settings_sync();
  g_object_unref(settings);
  return stored;
}

}  // namespace tessaro::platform
