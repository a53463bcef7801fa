// The keychain commands against a real gnome-keyring on a private session
// bus (started by keyring_session.sh). The environment below fills the login
// keyring and two more collections through libsecret before the tests run.
#define SECRET_API_SUBJECT_TO_CHANGE
#include <cstdlib>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libsecret/secret.h>

#include "tessaro/errors.hpp"
#include "tessaro/krv_forder.hpp"

namespace tessaro {
namespace {

constexpr const char* kInternal = "org.gnome.keyring.InternalUnsupportedGuiltRiddenInterface";
constexpr const char* kWorkPassword = "work password";

Value s(const char* text) { return Value::fromUtf8(text); }
Value none() { return Value(); }

// Fails the whole run at once: nothing can be tested on a half-built keyring.
void check(bool ok, GError* error, const char* what) {
  if (!ok || error != nullptr) {
    std::fprintf(stderr, "keyring setup: %s: %s\n", what, error ? error->message : "failed");
    std::exit(1);
  }
}

class Keyring : public ::testing::Environment {
 public:
  static SecretService* service;
  static SecretCollection* login;
  static SecretCollection* work;
  static SecretCollection* vault;

  void SetUp() override {
    GError* error = nullptr;
    service = secret_service_get_sync(SECRET_SERVICE_OPEN_SESSION, nullptr, &error);
    check(service != nullptr, error, "connect");
    check(secret_service_load_collections_sync(service, nullptr, &error), error, "load");
    login = secret_collection_for_alias_sync(service, "default", SECRET_COLLECTION_NONE, nullptr, &error);
    check(login != nullptr, error, "default collection");
    work = createCollection("Work Keys");
    vault = createCollection("Vault");

    storeGeneric(login, "Mail", "bob", "hunter2");
    storeGeneric(login, "Mail", "carol", "carol's secret");
    storeGeneric(login, "", "empty", "unnamed");
    storeGeneric(login, "Binary", "bob", "\xff\xfe\x01");
    storeGeneric(work, "Mail", "bob", "work mail");
    storeGeneric(work, "VPN", "dave", "vpn secret");
    storeGeneric(vault, "Safe", "eve", "in the vault");
    storeInternet(login, "Web", "bob", "example.com", "/login", "443", "web secret");
    storeInternet(login, "Web", "bob", "example.org", "/", "8080", "other web secret");
    storeInternet(work, "Intranet", "bob", "intra.example", "/", "80", "intranet secret");
    // A generic item with the same label and account as the internet one.
    storeGeneric(login, "Web", "bob", "generic web secret");
  }

  static SecretCollection* createCollection(const char* label) {
    GVariantBuilder properties;
    g_variant_builder_init(&properties, G_VARIANT_TYPE("a{sv}"));
    g_variant_builder_add(&properties, "{sv}", "org.freedesktop.Secret.Collection.Label", g_variant_new_string(label));
    SecretValue* master = secret_value_new(kWorkPassword, -1, "text/plain");
    GVariant* secret = secret_service_encode_dbus_secret(service, master);
    secret_value_unref(master);
    GError* error = nullptr;
    // gnome-keyring's own interface for making a collection without a prompt.
    GVariant* reply = g_dbus_connection_call_sync(
        g_dbus_proxy_get_connection(G_DBUS_PROXY(service)), "org.freedesktop.secrets", "/org/freedesktop/secrets",
        kInternal, "CreateWithMasterPassword", g_variant_new("(a{sv}@(oayays))", &properties, secret),
        G_VARIANT_TYPE("(o)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
    check(reply != nullptr, error, label);
    const gchar* path = nullptr;
    g_variant_get(reply, "(&o)", &path);
    SecretCollection* collection =
        secret_collection_new_for_dbus_path_sync(service, path, SECRET_COLLECTION_NONE, nullptr, &error);
    check(collection != nullptr, error, path);
    g_variant_unref(reply);
    return collection;
  }

  static void store(SecretCollection* collection, const char* label, GHashTable* attributes, const char* secret) {
    SecretValue* value = secret_value_new(secret, -1, "text/plain");
    GError* error = nullptr;
    SecretItem* item = secret_item_create_sync(collection, nullptr, attributes, label, value,
                                               SECRET_ITEM_CREATE_NONE, nullptr, &error);
    check(item != nullptr, error, label);
    g_object_unref(item);
    secret_value_unref(value);
    g_hash_table_unref(attributes);
  }

  static void storeGeneric(SecretCollection* collection, const char* label, const char* account, const char* secret) {
    GHashTable* attributes = g_hash_table_new(g_str_hash, g_str_equal);
    g_hash_table_insert(attributes, const_cast<char*>("xdg:schema"), const_cast<char*>("org.freedesktop.Secret.Generic"));
    g_hash_table_insert(attributes, const_cast<char*>("account"), const_cast<char*>(account));
    store(collection, label, attributes, secret);
  }

  static void storeInternet(SecretCollection* collection, const char* label, const char* user, const char* server,
                            const char* object, const char* port, const char* secret) {
    GHashTable* attributes = g_hash_table_new(g_str_hash, g_str_equal);
    g_hash_table_insert(attributes, const_cast<char*>("xdg:schema"), const_cast<char*>("org.gnome.keyring.NetworkPassword"));
    g_hash_table_insert(attributes, const_cast<char*>("user"), const_cast<char*>(user));
    g_hash_table_insert(attributes, const_cast<char*>("server"), const_cast<char*>(server));
    g_hash_table_insert(attributes, const_cast<char*>("object"), const_cast<char*>(object));
    g_hash_table_insert(attributes, const_cast<char*>("port"), const_cast<char*>(port));
    store(collection, label, attributes, secret);
  }

  static void lock(SecretCollection* collection) {
    GList objects{collection, nullptr, nullptr};
    GError* error = nullptr;
    check(secret_service_lock_sync(service, &objects, nullptr, nullptr, &error) == 1, error, "lock");
  }

  static void unlockWithPassword(SecretCollection* collection) {
    SecretValue* master = secret_value_new(kWorkPassword, -1, "text/plain");
    GVariant* secret = secret_service_encode_dbus_secret(service, master);
    secret_value_unref(master);
    GError* error = nullptr;
    GVariant* reply = g_dbus_connection_call_sync(
        g_dbus_proxy_get_connection(G_DBUS_PROXY(service)), "org.freedesktop.secrets", "/org/freedesktop/secrets",
        kInternal, "UnlockWithMasterPassword",
        g_variant_new("(o@(oayays))", g_dbus_proxy_get_object_path(G_DBUS_PROXY(collection)), secret), nullptr,
        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
    check(reply != nullptr, error, "unlock");
    g_variant_unref(reply);
  }

  void TearDown() override {
    g_object_unref(vault);
    g_object_unref(work);
    g_object_unref(login);
    g_object_unref(service);
  }
};

SecretService* Keyring::service = nullptr;
SecretCollection* Keyring::login = nullptr;
SecretCollection* Keyring::work = nullptr;
SecretCollection* Keyring::vault = nullptr;

const auto* const kEnvironment = ::testing::AddGlobalTestEnvironment(new Keyring);

std::string objectPath(SecretCollection* collection) {
  return g_dbus_proxy_get_object_path(G_DBUS_PROXY(collection));
}

// The outcome of one lookup: the password, or the error it filled.
struct Outcome {
  Value password;
  CommandError error{"unfilled", 0, ""};
  bool filled() const { return error.domain != "unfilled"; }
};

// Shows the error, never the password.
void PrintTo(const Outcome& o, std::ostream* out) {
  *out << (o.password.isNothing() ? "no value" : "a password") << ", error " << o.error.domain << " "
       << o.error.code << " \"" << o.error.message << "\"";
}

MATCHER_P(HasPassword, text, "") {
  return arg.password.isString() && arg.password.toUtf8() == text && !arg.filled();
}
MATCHER_P(FailsWith, code, "") {
  return arg.password.isNothing() && arg.error.domain == "NSCocoaErrorDomain" && arg.error.code == code;
}

Outcome generic(const Value& name, const Value& account, const Value& keychain = none()) {
  Outcome o;
  o.password = keychain.isNothing()
                   ? KRVForder::passForGenericItem_account_error_(name, account, &o.error)
                   : KRVForder::passForGenericItem_account_keychainPath_error_(name, account, keychain, &o.error);
  return o;
}

Outcome internet(const Value& name, const Value& account, const Value& server, const Value& path, const Value& port,
                 const Value& keychain = none()) {
  Outcome o;
  o.password = keychain.isNothing()
                   ? KRVForder::passForInternetItem_account_server_path_port_error_(name, account, server, path,
                                                                                    port, &o.error)
                   : KRVForder::passForInternetItem_account_server_path_port_keychainPath_error_(
                         name, account, server, path, port, keychain, &o.error);
  return o;
}

TEST(KeychainGeneric, FindsByLabelAndAccountDefaultCollectionFirst) {
  EXPECT_THAT(generic(s("Mail"), s("bob")), HasPassword("hunter2"));
  EXPECT_THAT(generic(s("Mail"), s("carol")), HasPassword("carol's secret"));
  // Only in the second collection: every collection is searched.
  EXPECT_THAT(generic(s("VPN"), s("dave")), HasPassword("vpn secret"));
  // The generic item, not the internet item with the same label and account.
  EXPECT_THAT(generic(s("Web"), s("bob")), HasPassword("generic web secret"));
  // An empty name is a name like any other.
  EXPECT_THAT(generic(s(""), s("empty")), HasPassword("unnamed"));
}

TEST(KeychainGeneric, WrongLabelOrAccountIsNotFound) {
  EXPECT_THAT(generic(s("mail"), s("bob")), FailsWith(-25300));
  EXPECT_THAT(generic(s("Mail"), s("Bob")), FailsWith(-25300));
  EXPECT_THAT(generic(s("Mail"), s("dave")), FailsWith(-25300));
  EXPECT_THAT(generic(s("Intranet"), s("bob")), FailsWith(-25300));
  Outcome o = generic(s("Mail"), s("nobody"));
  EXPECT_EQ(o.error.message, "The specified item could not be found in the keychain.");
}

TEST(KeychainInternet, MatchesServerPathAndPortWhenGiven) {
  EXPECT_THAT(internet(s("Web"), s("bob"), s("example.com"), s("/login"), Value::integer(443)),
              HasPassword("web secret"));
  EXPECT_THAT(internet(s("Web"), s("bob"), s("example.org"), none(), none()), HasPassword("other web secret"));
  EXPECT_THAT(internet(s("Web"), s("bob"), none(), none(), Value::integer(8080)), HasPassword("other web secret"));
  EXPECT_THAT(internet(s("Web"), s("bob"), none(), s("/login"), none()), HasPassword("web secret"));
  // A whole real is the same port.
  EXPECT_THAT(internet(s("Web"), s("bob"), s("example.com"), none(), Value::real(443.0)), HasPassword("web secret"));
  EXPECT_THAT(internet(s("Intranet"), s("bob"), none(), none(), none()), HasPassword("intranet secret"));
}

TEST(KeychainInternet, WithoutServerPathAndPortMatchesLabelAndAccountAlone) {
  Outcome o = internet(s("Web"), s("bob"), none(), none(), none());
  ASSERT_TRUE(o.password.isString());
  EXPECT_TRUE(o.password.toUtf8() == "web secret" || o.password.toUtf8() == "other web secret");
  EXPECT_FALSE(o.filled());
}

TEST(KeychainInternet, MismatchesAreNotFound) {
  EXPECT_THAT(internet(s("Web"), s("bob"), s("example.net"), none(), none()), FailsWith(-25300));
  EXPECT_THAT(internet(s("Web"), s("bob"), s("example.com"), s("/logout"), none()), FailsWith(-25300));
  EXPECT_THAT(internet(s("Web"), s("bob"), s("example.com"), none(), Value::integer(80)), FailsWith(-25300));
  // No range test: the number goes in as it is and matches nothing.
  EXPECT_THAT(internet(s("Web"), s("bob"), none(), none(), Value::integer(443 + 65536)), FailsWith(-25300));
  EXPECT_THAT(internet(s("Web"), s("bob"), none(), none(), Value::real(443.5)), FailsWith(-25300));
  EXPECT_THAT(internet(s("Web"), s("alice"), none(), none(), none()), FailsWith(-25300));
  // Generic items are not internet items.
  EXPECT_THAT(internet(s("Mail"), s("bob"), none(), none(), none()), FailsWith(-25300));
}

TEST(KeychainPath, NamesOneCollectionByLabelPathAliasOrFile) {
  EXPECT_THAT(generic(s("Mail"), s("bob"), s("Work Keys")), HasPassword("work mail"));
  EXPECT_THAT(generic(s("Mail"), s("bob"), Value::fromUtf8(objectPath(Keyring::work))), HasPassword("work mail"));
  EXPECT_THAT(generic(s("Mail"), s("bob"), s("login")), HasPassword("hunter2"));
  EXPECT_THAT(generic(s("Mail"), s("bob"), s("default")), HasPassword("hunter2"));
  std::string dataHome = std::getenv("XDG_DATA_HOME");
  EXPECT_THAT(generic(s("Mail"), s("bob"), Value::fromUtf8(dataHome + "/keyrings/login.keyring")),
              HasPassword("hunter2"));
  EXPECT_THAT(generic(s("Mail"), s("bob"), s("~/data/keyrings/login.keyring")), HasPassword("hunter2"));
  EXPECT_THAT(internet(s("Intranet"), s("bob"), s("intra.example"), s("/"), Value::integer(80), s("Work Keys")),
              HasPassword("intranet secret"));
  // Only the named collection is searched.
  EXPECT_THAT(generic(s("VPN"), s("dave"), s("login")), FailsWith(-25300));
  EXPECT_THAT(internet(s("Intranet"), s("bob"), none(), none(), none(), s("login")), FailsWith(-25300));
}

TEST(KeychainPath, UnknownCollectionIsNoSuchKeychain) {
  for (const char* name : {"Nowhere", "work keys", "/org/freedesktop/secrets/collection/nowhere",
                           "~/data/keyrings/nowhere.keyring", "/tmp/login.keyring", ""}) {
    Outcome o = generic(s("Mail"), s("bob"), s(name));
    EXPECT_THAT(o, FailsWith(-25294)) << name;
    EXPECT_EQ(o.error.message, "The specified keychain could not be found.") << name;
  }
}

TEST(KeychainLocked, LockedCollectionWithoutPrompterIsInteractionNotAllowed) {
  Keyring::lock(Keyring::vault);
  Outcome named = generic(s("Safe"), s("eve"), s("Vault"));
  // Found in the default collection before the locked one is reached.
  Outcome before = generic(s("Mail"), s("bob"));
  Outcome searched = generic(s("Safe"), s("eve"));
  Keyring::unlockWithPassword(Keyring::vault);
  EXPECT_THAT(named, FailsWith(-25308));
  EXPECT_EQ(named.error.message, "User interaction is not allowed.");
  EXPECT_THAT(before, HasPassword("hunter2"));
  EXPECT_THAT(searched, FailsWith(-25308));
  EXPECT_THAT(generic(s("Safe"), s("eve"), s("Vault")), HasPassword("in the vault"));
}

TEST(KeychainLocked, DismissedPromptIsUserCanceled) {
  // With a display the prompt is tried; gnome-keyring, which has no
  // prompter on this bus, completes it dismissed.
  Keyring::lock(Keyring::vault);
  setenv("DISPLAY", ":99", 1);
  Outcome o = generic(s("Safe"), s("eve"), s("Vault"));
  unsetenv("DISPLAY");
  Keyring::unlockWithPassword(Keyring::vault);
  EXPECT_THAT(o, FailsWith(-128));
  EXPECT_EQ(o.error.message, "User canceled the operation.");
}

TEST(KeychainSecret, NotUtf8GivesNoValueAndNoError) {
  Outcome o = generic(s("Binary"), s("bob"));
  EXPECT_TRUE(o.password.isNothing());
  EXPECT_FALSE(o.filled());
}

TEST(KeychainArguments, MissingNameOrAccountUsesTheBundleDomain) {
  Outcome o = generic(none(), none());
  EXPECT_EQ(o.error, (CommandError{std::string(bundleIdentifier()), 10000, "No keychain item name provided."}));
  o = internet(s("Web"), none(), s("example.com"), none(), none());
  EXPECT_EQ(o.error, (CommandError{std::string(bundleIdentifier()), 10000, "No keychain item account provided."}));
  EXPECT_TRUE(o.password.isNothing());
  // Without an out-parameter the command only returns no value.
  EXPECT_TRUE(KRVForder::passForGenericItem_account_error_(none(), s("bob"), nullptr).isNothing());
  EXPECT_TRUE(KRVForder::passForGenericItem_account_keychainPath_error_(s("Mail"), none(), s("nowhere"), nullptr)
                  .isNothing());
  // Nor does a lookup that fails or finds a secret that is not text.
  EXPECT_TRUE(KRVForder::passForGenericItem_account_error_(s("Mail"), s("nobody"), nullptr).isNothing());
  Value found = KRVForder::passForGenericItem_account_error_(s("Mail"), s("bob"), nullptr);
  EXPECT_EQ(found.toUtf8(), "hunter2");
}

TEST(KeychainArguments, ValuesOfTheWrongKindAreInvalidParameters) {
  EXPECT_THAT(generic(Value::integer(1), s("bob")), FailsWith(-50));
  EXPECT_THAT(generic(s("Mail"), Value::null()), FailsWith(-50));
  EXPECT_THAT(generic(s("Mail"), s("bob"), Value::list(std::vector<Value>{})), FailsWith(-50));
  EXPECT_THAT(internet(s("Web"), s("bob"), none(), none(), s("443")), FailsWith(-50));
  EXPECT_THAT(internet(s("Web"), s("bob"), Value::integer(3), none(), none()), FailsWith(-50));
}

TEST(KeychainWorker, IsInternetChoosesTheSchema) {
  CommandError error;
  Value v = KRVForder::KRV_passForKeychainItem_account_server_path_port_isInternet_keychainPath_error_(
      s("Web"), s("bob"), s("example.com"), none(), none(), Value::boolean(true), none(), &error);
  EXPECT_EQ(v.toUtf8(), "web secret");
  v = KRVForder::KRV_passForKeychainItem_account_server_path_port_isInternet_keychainPath_error_(
      s("Web"), s("bob"), s("example.com"), none(), none(), Value::boolean(false), s("login"), &error);
  EXPECT_EQ(v.toUtf8(), "generic web secret");
}

}  // namespace
}  // namespace tessaro
