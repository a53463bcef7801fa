// Looks passwords up in the Secret Service on the session bus, with libsecret
// doing the session negotiation and the decryption of the secrets.
#include "platform/secret_service.hpp"

#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>

#include <libsecret/secret.h>

#include "platform/file_paths.hpp"
#include "platform/glib_handles.hpp"

namespace tessaro::platform {
namespace {

constexpr std::string_view kKeyringSuffix = ".keyring";

// A failure from the service or the bus as a keychain status. The service's
// own errors keep their meaning; anything else means it cannot be reached.
KeychainStatus statusOf(const GError* error) {
  if (error->domain == SECRET_ERROR) {
    if (error->code == SECRET_ERROR_IS_LOCKED) return KeychainStatus::interactionNotAllowed;
    if (error->code == SECRET_ERROR_NO_SUCH_OBJECT) return KeychainStatus::itemNotFound;
  }
  if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED)) return KeychainStatus::userCanceled;
  return KeychainStatus::notAvailable;
}

std::string_view objectPathOf(gpointer proxy) { return g_dbus_proxy_get_object_path(G_DBUS_PROXY(proxy)); }

// The identifier in a collection's object path, with the "_XX" escapes that
// keep D-Bus paths to [A-Za-z0-9_] decoded: the name of its keyring file.
std::string collectionIdentifier(std::string_view objectPath) {
  std::string_view last = objectPath.substr(objectPath.rfind('/') + 1);
  std::string out;
  for (std::size_t i = 0; i < last.size(); ++i) {
    if (last[i] == '_' && i + 2 < last.size() && g_ascii_isxdigit(last[i + 1]) && g_ascii_isxdigit(last[i + 2])) {
      out.push_back(char(g_ascii_xdigit_value(last[i + 1]) * 16 + g_ascii_xdigit_value(last[i + 2])));
      i += 2;
    } else {
      out.push_back(last[i]);
    }
  }
  return out;
}

// The folder in which gnome-keyring keeps its keyring files.
std::string keyringFolder() {
  const char* data = std::getenv("XDG_DATA_HOME");
  if (data != nullptr && data[0] == '/') return std::string(data) + "/keyrings";
  return expandTilde("~/.local/share/keyrings");
}

bool sameFile(const std::string& a, const std::string& b) {
  struct stat sa {}, sb {};
  return ::stat(a.c_str(), &sa) == 0 && ::stat(b.c_str(), &sb) == 0 && sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
}

// The identifier of the collection that the keyring file at `path` holds, when
// the path names an existing file in the keyring folder.
std::optional<std::string> identifierOfKeyringFile(std::string_view given) {
  std::string path = expandTilde(given);
  if (path.size() <= kKeyringSuffix.size() || !path.ends_with(kKeyringSuffix)) return std::nullopt;
  std::size_t slash = path.rfind('/');
  std::string folder = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
  std::string file = slash == std::string::npos ? path : path.substr(slash + 1);
  struct stat st {};
  if (::stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode) || !sameFile(folder, keyringFolder()))
    return std::nullopt;
  return file.substr(0, file.size() - kKeyringSuffix.size());
}

class Lookup {
 public:
  Lookup(const SecretQuery& query, const std::function<void(std::string_view)>& receive)
      : query_(query), receive_(receive) {}

  KeychainStatus run() {
    if (KeychainStatus s = connect(); s != KeychainStatus::success) return s;
    std::vector<SecretCollection*> order;
    if (KeychainStatus s = collectionsToSearch(order); s != KeychainStatus::success) return s;
    for (SecretCollection* collection : order) {
      KeychainStatus s = searchCollection(collection);
      if (s != KeychainStatus::itemNotFound) return s;
    }
    return KeychainStatus::itemNotFound;
  }

  ~Lookup() {
    // libsecret's objects go first: they hold the connection.
    aliasCollection_.reset();
    collections_.reset();
    service_.reset();
  }

 private:
  // The session bus connection is the process's shared one (libsecret's
  // service proxy insists on it); the service proxy and everything it made
  // are dropped when the lookup ends.
  KeychainStatus connect() {
    GError* raw = nullptr;
    service_.reset(secret_service_open_sync(SECRET_TYPE_SERVICE, nullptr, SECRET_SERVICE_NONE, nullptr, &raw));
    if (!service_) return fail(raw, KeychainStatus::notAvailable);
    if (!secret_service_ensure_session_sync(service_.get(), nullptr, &raw) ||
        !secret_service_load_collections_sync(service_.get(), nullptr, &raw))
      return fail(raw, KeychainStatus::notAvailable);
    collections_.reset(secret_service_get_collections(service_.get()));
    return KeychainStatus::success;
  }

  // The named collection, or every collection with the default first.
  KeychainStatus collectionsToSearch(std::vector<SecretCollection*>& order) {
    if (query_.collection) {
      SecretCollection* found = nullptr;
      if (KeychainStatus s = resolve(*query_.collection, found); s != KeychainStatus::success) return s;
      if (found == nullptr) return KeychainStatus::noSuchKeychain;
      order.push_back(found);
      return KeychainStatus::success;
    }
    SecretCollection* byDefault = nullptr;
    if (KeychainStatus s = collectionForAlias("default", byDefault); s != KeychainStatus::success) return s;
    if (byDefault != nullptr) order.push_back(byDefault);
    for (GList* l = collections_.get(); l != nullptr; l = l->next)
      if (byDefault == nullptr || objectPathOf(l->data) != objectPathOf(byDefault))
        order.push_back(static_cast<SecretCollection*>(l->data));
    return KeychainStatus::success;
  }

  SecretCollection* collectionWithPath(std::string_view path) const {
    for (GList* l = collections_.get(); l != nullptr; l = l->next)
      if (objectPathOf(l->data) == path) return static_cast<SecretCollection*>(l->data);
    return nullptr;
  }

  KeychainStatus collectionForAlias(const std::string& alias, SecretCollection*& found) {
    GError* raw = nullptr;
    aliasCollection_.reset(
        secret_collection_for_alias_sync(service_.get(), alias.c_str(), SECRET_COLLECTION_NONE, nullptr, &raw));
    if (raw != nullptr) return fail(raw, KeychainStatus::notAvailable);
    // The service's own list holds the object that gets searched.
    found = aliasCollection_ ? collectionWithPath(objectPathOf(aliasCollection_.get())) : nullptr;
    return KeychainStatus::success;
  }

  // A keychain path names a collection by its object path, its keyring file,
  // an alias or its label, tried in that order.
  KeychainStatus resolve(const std::string& name, SecretCollection*& found) {
    // An empty name would match an unnamed collection (gnome-keyring's
    // in-memory "session" one has no label): it names none.
    if (name.empty()) return KeychainStatus::success;
    if ((found = collectionWithPath(name)) != nullptr) return KeychainStatus::success;
    if (std::optional<std::string> id = identifierOfKeyringFile(name)) {
      for (GList* l = collections_.get(); l != nullptr; l = l->next)
        if (collectionIdentifier(objectPathOf(l->data)) == *id) {
          found = static_cast<SecretCollection*>(l->data);
          return KeychainStatus::success;
        }
    }
    // Alias names are plain words; anything else cannot be one.
    if (name.find_first_of("/\0", 0, 2) == std::string::npos && g_utf8_validate(name.data(), gssize(name.size()), nullptr)) {
      if (KeychainStatus s = collectionForAlias(name, found); s != KeychainStatus::success || found) return s;
    }
    for (GList* l = collections_.get(); l != nullptr; l = l->next) {
      glib::String label(secret_collection_get_label(static_cast<SecretCollection*>(l->data)));
      if (label && name == label.get()) {
        found = static_cast<SecretCollection*>(l->data);
        break;
      }
    }
    return KeychainStatus::success;
  }

  // Unlocks a locked collection through the service's prompt. A prompt needs
  // a graphical session; without one no prompt is tried, since the service
  // would only report it dismissed, as if the user had declined.
  KeychainStatus unlock(SecretCollection* collection) {
    if (!canShowPrompt()) return KeychainStatus::interactionNotAllowed;
    GList objects{collection, nullptr, nullptr};
    GError* raw = nullptr;
    gint unlocked = secret_service_unlock_sync(service_.get(), &objects, nullptr, nullptr, &raw);
    if (raw != nullptr) return fail(raw, KeychainStatus::interactionNotAllowed);
    if (unlocked == 0 || secret_collection_get_locked(collection)) return KeychainStatus::userCanceled;
    return KeychainStatus::success;
  }

  static bool canShowPrompt() {
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY"}) {
      const char* value = std::getenv(name);
      if (value != nullptr && value[0] != '\0') return true;
    }
    return false;
  }

  KeychainStatus searchCollection(SecretCollection* collection) {
    if (secret_collection_get_locked(collection))
      if (KeychainStatus s = unlock(collection); s != KeychainStatus::success) return s;
    glib::HashTable attributes(g_hash_table_new(g_str_hash, g_str_equal));
    for (const auto& [name, value] : query_.attributes)
      g_hash_table_insert(attributes.get(), const_cast<char*>(name.c_str()), const_cast<char*>(value.c_str()));
    GError* raw = nullptr;
    glib::ObjectList items(
        secret_collection_search_sync(collection, nullptr, attributes.get(), SECRET_SEARCH_ALL, nullptr, &raw));
    if (raw != nullptr) return fail(raw, KeychainStatus::notAvailable);
    for (GList* l = items.get(); l != nullptr; l = l->next) {
      auto* item = static_cast<SecretItem*>(l->data);
      glib::String label(secret_item_get_label(item));
      if (!label || query_.label != label.get()) continue;
      if (!secret_item_load_secret_sync(item, nullptr, &raw)) return fail(raw, KeychainStatus::notAvailable);
      SecretValue* secret = secret_item_get_secret(item);
      if (secret == nullptr) return KeychainStatus::itemNotFound;
      gsize length = 0;
      const gchar* bytes = secret_value_get(secret, &length);
      // libsecret keeps the bytes in memory it wipes when the value is freed.
      receive_(std::string_view(bytes, length));
      secret_value_unref(secret);
      return KeychainStatus::success;
    }
    return KeychainStatus::itemNotFound;
  }

  static KeychainStatus fail(GError* raw, KeychainStatus fallback) {
    glib::Error error(raw);
    if (!error) return fallback;
    KeychainStatus s = statusOf(error.get());
    return s == KeychainStatus::notAvailable ? fallback : s;
  }

  const SecretQuery& query_;
  const std::function<void(std::string_view)>& receive_;
  glib::ScopedMainContext context_;  // declared first among the handles: freed last
  glib::Object<SecretService> service_;
  glib::ObjectList collections_;
  glib::Object<SecretCollection> aliasCollection_;
};

}  // namespace

std::string_view keychainStatusMessage(KeychainStatus status) noexcept {
  switch (status) {
    case KeychainStatus::success:
      return "No error.";
    case KeychainStatus::parameterInvalid:
      return "One or more parameters passed to a function were not valid.";
    case KeychainStatus::userCanceled:
      return "User canceled the operation.";
    case KeychainStatus::notAvailable:
      return "No keychain is available. You may need to restart your computer.";
    case KeychainStatus::noSuchKeychain:
      return "The specified keychain could not be found.";
    case KeychainStatus::itemNotFound:
      return "The specified item could not be found in the keychain.";
    case KeychainStatus::interactionNotAllowed:
      return "User interaction is not allowed.";
  }
  return "An unknown keychain error occurred.";
}

KeychainStatus lookUpSecret(const SecretQuery& query, const std::function<void(std::string_view)>& receive) {
  Lookup lookup(query, receive);
  return lookup.run();
}

}  // namespace tessaro::platform
