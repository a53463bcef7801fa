// Password lookup in a freedesktop Secret Service (gnome-keyring, KWallet,
// KeePassXC, …) through libsecret, and the keychain statuses and messages
// that the keychain commands report.
//
// Each lookup opens its own service proxy and session with the service and
// drops them before returning, so nothing of it outlives the call.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tessaro::platform {

// The keychain statuses a lookup reports, with the other platform's numbers.
enum class KeychainStatus : std::int64_t {
  success = 0,
  parameterInvalid = -50,
  userCanceled = -128,
  notAvailable = -25291,
  noSuchKeychain = -25294,
  itemNotFound = -25300,
  interactionNotAllowed = -25308,
};

// The platform's message for a status; an unknown one gets a generic text.
std::string_view keychainStatusMessage(KeychainStatus status) noexcept;

struct SecretQuery {
  std::string label;  // the item's label must equal this
  // Attribute names and values the item must carry (the service matches
  // attributes only; the label is compared afterwards).
  std::vector<std::pair<std::string, std::string>> attributes;
  // The collection to search: its keyring file, D-Bus object path, alias or
  // label. Without one every collection is searched, the default first.
  std::optional<std::string> collection;
};

// Finds the first item matching `query` and hands its secret bytes to
// `receive`, which must copy out what it needs: the bytes are wiped once it
// returns. `receive` is called at most once, and only on success.
KeychainStatus lookUpSecret(const SecretQuery& query, const std::function<void(std::string_view)>& receive);

}  // namespace tessaro::platform
