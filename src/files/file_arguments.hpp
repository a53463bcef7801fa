// How the file commands read their arguments: file references through
// URLFrom:, key lists, and the boolean flags scripts pass.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "files/resource_keys.hpp"
#include "platform/file_paths.hpp"
#include "tessaro/krv_forder.hpp"

namespace tessaro::files {

// The path of the item a file reference names (through URLFrom:); no value
// when it names none, or names something other than a local file.
inline std::optional<std::string> pathFromReference(const Value& reference) {
  Value url = KRVForder::URLFrom_(reference);
  if (!url.isUrl()) return std::nullopt;
  return platform::pathFromFileURL(url.asUrl());
}

// A script's key list; no value reads as an empty list, as the host's
// messages to nil do.
inline std::vector<Value> keyList(const Value& keys) {
  if (keys.isNothing()) return {};
  if (!keys.isList()) doesNotAnswer(keys, "mutableCopy");
  return std::vector<Value>(keys.asList().begin(), keys.asList().end());
}

// Whether `keys` holds the string `key`.
inline bool listsKey(const std::vector<Value>& keys, std::u16string_view key) {
  for (const Value& k : keys)
    if (k.isString() && k.asString() == key) return true;
  return false;
}

// Appends `key` unless the list holds it already; true when it was added.
inline bool addKeyUnlessListed(std::vector<Value>& keys, std::u16string_view key) {
  if (listsKey(keys, key)) return false;
  keys.push_back(Value::string(key));
  return true;
}

inline std::vector<ResourceKey> resolveKeys(const std::vector<Value>& names) {
  std::vector<ResourceKey> keys;
  keys.reserve(names.size());
  for (const Value& name : names) keys.push_back(resourceKeyNamed(name));
  return keys;
}

}  // namespace tessaro::files
