// The keychain password commands: a generic or internet password read from
// the Secret Service, found by item name and account (and for internet items
// optionally server, path and port), in every collection or in one.
//
// A generic item carries the schema "org.freedesktop.Secret.Generic" and an
// `account` attribute; an internet item carries libsecret's network-password
// schema with `user`, `server`, `object` (the path) and `port`. The item's
// name is its label, which the service cannot search for: it is compared
// with the label of each attribute match.
#include <charconv>
#include <cmath>
#include <cstring>
#include <string>

#include "bridge/unicode.hpp"
#include "platform/secret_service.hpp"
#include "registry/subsystems.hpp"
#include "tessaro/krv_forder.hpp"
#include "tessaro/registry.hpp"

namespace tessaro {
namespace {

using platform::KeychainStatus;

constexpr std::int64_t kArgumentErrorCode = 10000;
constexpr std::string_view kKeychainErrorDomain = "NSCocoaErrorDomain";
constexpr const char* kGenericSchema = "org.freedesktop.Secret.Generic";
constexpr const char* kNetworkSchema = "org.gnome.keyring.NetworkPassword";

// A port as the decimal text the network schema stores. The number goes in
// as given: no range test, and a fractional real matches no stored port.
std::optional<std::string> portText(const Value& port) {
  switch (port.kind()) {
    case ValueKind::boolean:
      return std::string(port.asBoolean() ? "1" : "0");
    case ValueKind::integer:
      return std::to_string(port.asInteger());
    case ValueKind::real: {
      double d = port.asReal();
      if (std::isfinite(d) && d == std::trunc(d) && std::fabs(d) < 9.2e18)
        return std::to_string(static_cast<std::int64_t>(d));
      char buffer[32];
      auto result = std::to_chars(buffer, buffer + sizeof buffer, d);
      return std::string(buffer, result.ptr);
    }
    default:
      return std::nullopt;
  }
}

std::optional<std::string> textOf(const Value& v) {
  if (!v.isString()) return std::nullopt;
  return v.toUtf8();
}

// Wipes a buffer that held a secret; the compiler may not drop the stores.
void wipe(void* p, std::size_t n) {
  if (n != 0) explicit_bzero(p, n);
}

// The secret decoded as UTF-8, converted through a buffer that is wiped
// afterwards. No value when the bytes are not well-formed UTF-8.
Value passwordFrom(std::string_view bytes) {
  std::optional<std::size_t> length = utf16LengthOfValidUtf8(bytes);
  if (!length) return Value();
  std::u16string units(*length, u'\0');
  convertValidUtf8(bytes, units.data(), units.size());
  Value password = Value::string(units);
  wipe(units.data(), units.size() * sizeof(char16_t));
  return password;
}

void failWithStatus(CommandError* error, KeychainStatus status) {
  fail(error, kKeychainErrorDomain, static_cast<std::int64_t>(status), platform::keychainStatusMessage(status));
}

}  // namespace

Value KRVForder::KRV_passForKeychainItem_account_server_path_port_isInternet_keychainPath_error_(
    const Value& name, const Value& account, const Value& server, const Value& path, const Value& port,
    const Value& isInternet, const Value& keychainPath, CommandError* error) {
  if (name.isNothing()) {
    fail(error, bundleIdentifier(), kArgumentErrorCode, "No keychain item name provided.");
    return Value();
  }
  if (account.isNothing()) {
    fail(error, bundleIdentifier(), kArgumentErrorCode, "No keychain item account provided.");
    return Value();
  }

  // The service stores text attributes: any other kind of value is a bad
  // parameter, as the other platform's lookup reports for a mistyped one.
  platform::SecretQuery query;
  std::optional<std::string> label = textOf(name), user = textOf(account);
  bool internet = isInternet.isNumber() && isInternet.boolValue();
  bool valid = label && user;
  if (!keychainPath.isNothing()) {
    query.collection = textOf(keychainPath);
    valid = valid && query.collection;
  }
  if (valid) {
    query.label = *label;
    if (internet) {
      query.attributes = {{"xdg:schema", kNetworkSchema}, {"user", *user}};
      if (!server.isNothing()) {
        std::optional<std::string> s = textOf(server);
        valid = valid && s;
        if (s) query.attributes.emplace_back("server", *s);
      }
      if (!port.isNothing()) {
        std::optional<std::string> p = portText(port);
        valid = valid && p;
        if (p) query.attributes.emplace_back("port", *p);
      }
      if (!path.isNothing()) {
        std::optional<std::string> o = textOf(path);
        valid = valid && o;
        if (o) query.attributes.emplace_back("object", *o);
      }
    } else {
      query.attributes = {{"xdg:schema", kGenericSchema}, {"account", *user}};
    }
  }
  if (!valid) {
    failWithStatus(error, KeychainStatus::parameterInvalid);
    return Value();
  }

  Value password;
  KeychainStatus status =
      platform::lookUpSecret(query, [&password](std::string_view secret) { password = passwordFrom(secret); });
  if (status != KeychainStatus::success) failWithStatus(error, status);
  return password;
}

Value KRVForder::passForGenericItem_account_error_(const Value& name, const Value& account, CommandError* error) {
  return KRV_passForKeychainItem_account_server_path_port_isInternet_keychainPath_error_(
      name, account, Value(), Value(), Value(), Value::boolean(false), Value(), error);
}

Value KRVForder::passForGenericItem_account_keychainPath_error_(const Value& name, const Value& account,
                                                               const Value& keychainPath, CommandError* error) {
  return KRV_passForKeychainItem_account_server_path_port_isInternet_keychainPath_error_(
      name, account, Value(), Value(), Value(), Value::boolean(false), keychainPath, error);
}

Value KRVForder::passForInternetItem_account_server_path_port_error_(const Value& name, const Value& account,
                                                                    const Value& server, const Value& path,
                                                                    const Value& port, CommandError* error) {
  return KRV_passForKeychainItem_account_server_path_port_isInternet_keychainPath_error_(
      name, account, server, path, port, Value::boolean(true), Value(), error);
}

Value KRVForder::passForInternetItem_account_server_path_port_keychainPath_error_(
    const Value& name, const Value& account, const Value& server, const Value& path, const Value& port,
    const Value& keychainPath, CommandError* error) {
  return KRV_passForKeychainItem_account_server_path_port_isInternet_keychainPath_error_(
      name, account, server, path, port, Value::boolean(true), keychainPath, error);
}

void registerKeychainCommands(Registry& r) {
  r.add<&KRVForder::passForGenericItem_account_error_>("passForGenericItem:account:error:");
  r.add<&KRVForder::passForGenericItem_account_keychainPath_error_>("passForGenericItem:account:keychainPath:error:");
  r.add<&KRVForder::passForInternetItem_account_server_path_port_error_>(
      "passForInternetItem:account:server:path:port:error:");
  r.add<&KRVForder::passForInternetItem_account_server_path_port_keychainPath_error_>(
      "passForInternetItem:account:server:path:port:keychainPath:error:");
  r.add<&KRVForder::KRV_passForKeychainItem_account_server_path_port_isInternet_keychainPath_error_>(
      "KRV_passForKeychainItem:account:server:path:port:isInternet:keychainPath:error:",
      Visibility::privateOperation);
}

}  // namespace tessaro
