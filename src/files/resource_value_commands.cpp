// Resource values of listed items and of a folder's contents, the folder
// size sum, and the trimming of resource-key names to script-friendly ones.
#include <dirent.h>
#include <unicode/uchar.h>

#include "files/file_arguments.hpp"
#include "platform/directory_walk.hpp"

namespace tessaro {
namespace {

using files::ItemAttributes;
using files::ResourceKey;

enum class Selection { items, files, folders };

Value resourceValuesIn(const Value& keys, const Value& folder, bool recursive, bool skipHidden,
                       bool skipInsidePackages, Selection selection) {
  std::optional<std::string> path = files::pathFromReference(folder);
  if (!path) return Value();
  unsigned options = (skipHidden ? platform::skipHiddenItems : 0) |
                     (skipInsidePackages ? platform::skipPackageContents : 0) |
                     (recursive ? 0 : platform::skipDescendants);

  // The records hold the script's keys and the path; the files' records keep
  // the package flag as well, even when the script did not ask for it. The
  // directory and package flags that decide the selection are read apart.
  std::vector<Value> names = files::keyList(keys);
  files::addKeyUnlessListed(names, files::kPathKey);
  if (selection == Selection::files) files::addKeyUnlessListed(names, files::kIsPackageKey);
  const std::vector<ResourceKey> resolved = files::resolveKeys(names);

  ListBuilder records;
  bool opened = platform::walkFolder(*path, options, [&](const platform::WalkEntry& entry) {
    ItemAttributes item(entry.path, entry.type);
    if (selection != Selection::items) {
      const bool directory = entry.type == DT_DIR;
      const bool package = directory && platform::hasPackageExtension(entry.name);
      const bool isFolder = directory && !package;
      if ((selection == Selection::folders) != isFolder) return;
    }
    if (std::optional<Record> record = files::resourceRecord(item, names, resolved))
      records.push(Value::record(std::move(*record)));
  });
  if (!opened) return Value();
  return records.finish();
}

}  // namespace

Value KRVForder::resourceValueForKey_forURLsOrFiles_(const Value& key, const Value& items) {
  if (!items.isNothing() && !items.isList()) doesNotAnswer(items, "count");
  const ResourceKey resolved = files::resourceKeyNamed(key);
  ListBuilder values;
  for (const Value& reference : items.isList() ? items.asList() : std::span<const Value>()) {
    std::optional<std::string> path = files::pathFromReference(reference);
    std::optional<Value> value;
    if (path) {
      ItemAttributes item(*path);
      value = item.get(resolved);
    }
    values.push(value && !value->isNothing() ? std::move(*value) : Value::null());
  }
  return values.finish();
}

Value KRVForder::resourceValuesForKeys_forURLsOrFiles_(const Value& keys, const Value& items) {
  if (!items.isNothing() && !items.isList()) doesNotAnswer(items, "count");
  std::vector<Value> names = files::keyList(keys);
  files::addKeyUnlessListed(names, files::kPathKey);
  const std::vector<ResourceKey> resolved = files::resolveKeys(names);
  ListBuilder records;
  for (const Value& reference : items.isList() ? items.asList() : std::span<const Value>()) {
    std::optional<std::string> path = files::pathFromReference(reference);
    std::optional<Record> record;
    if (path) {
      ItemAttributes item(*path);
      record = files::resourceRecord(item, names, resolved);
    }
    records.push(record ? Value::record(std::move(*record)) : Value::null());
  }
  return records.finish();
}

Value KRVForder::resourceValuesForKeys_forItemsIn_recursive_skipHidden_skipInsidePackages_(
    const Value& keys, const Value& folder, const Value& recursive, const Value& skipHidden,
    const Value& skipInsidePackages) {
  return resourceValuesIn(keys, folder, recursive.boolValue(), skipHidden.boolValue(), skipInsidePackages.boolValue(),
                          Selection::items);
}
Value KRVForder::resourceValuesForKeys_forItemsIn_recursive_(const Value& keys, const Value& folder,
                                                             const Value& recursive) {
  return resourceValuesIn(keys, folder, recursive.boolValue(), true, true, Selection::items);
}
Value KRVForder::resourceValuesForKeys_forFilesIn_recursive_skipHidden_skipInsidePackages_(
    const Value& keys, const Value& folder, const Value& recursive, const Value& skipHidden,
    const Value& skipInsidePackages) {
  return resourceValuesIn(keys, folder, recursive.boolValue(), skipHidden.boolValue(), skipInsidePackages.boolValue(),
                          Selection::files);
}
Value KRVForder::resourceValuesForKeys_forFilesIn_recursive_(const Value& keys, const Value& folder,
                                                             const Value& recursive) {
  return resourceValuesIn(keys, folder, recursive.boolValue(), true, true, Selection::files);
}
Value KRVForder::resourceValuesForKeys_forFoldersIn_recursive_skipHidden_skipInsidePackages_(
    const Value& keys, const Value& folder, const Value& recursive, const Value& skipHidden,
    const Value& skipInsidePackages) {
  return resourceValuesIn(keys, folder, recursive.boolValue(), skipHidden.boolValue(), skipInsidePackages.boolValue(),
                          Selection::folders);
}
Value KRVForder::resourceValuesForKeys_forFoldersIn_recursive_(const Value& keys, const Value& folder,
                                                               const Value& recursive) {
  return resourceValuesIn(keys, folder, recursive.boolValue(), true, true, Selection::folders);
}

Value KRVForder::KRV_folderSizeOfURL_(const Value& url) {
  std::int64_t totalSize = 0, totalAllocated = 0;
  // Everything inside counts, hidden items and package contents too; a
  // folder that cannot be read sums to 0.
  if (std::optional<std::string> path = files::pathFromReference(url)) {
    platform::walkFolder(*path, 0, [&](const platform::WalkEntry& entry) {
      if (entry.type == DT_DIR) return;
      ItemAttributes item(entry.path, entry.type);
      for (auto [key, sum] : {std::pair{ResourceKey::totalFileSize, &totalSize},
                              std::pair{ResourceKey::totalFileAllocatedSize, &totalAllocated}}) {
        std::optional<Value> value = item.get(key);
        if (value && value->kind() == ValueKind::integer) *sum += value->asInteger();
      }
    });
  }
  Record sizes;
  sizes.appendNew(Value::string(files::kTotalFileSizeKey), Value::integer(totalSize));
  sizes.appendNew(Value::string(files::kTotalFileAllocatedSizeKey), Value::integer(totalAllocated));
  return Value::record(std::move(sizes));
}

Value KRVForder::KRV_trimNSURLKeysInDictionary_(const Value& record) {
  if (record.isNothing()) return Value::record(Record());
  if (!record.isRecord()) doesNotAnswer(record, "keyEnumerator");
  Record trimmed;
  trimmed.reserve(record.asRecord().size());
  constexpr std::u16string_view prefix = u"NSURL", suffix = u"Key";
  for (const auto& [key, value] : record.asRecord().entries()) {
    std::u16string_view text = key.isString() ? key.asString() : std::u16string_view();
    const std::size_t at = text.find(prefix);
    const std::size_t nameStart = at + prefix.size();
    // "NSURLKey" has no name part; it is kept as it is rather than cut short.
    if (at == std::u16string_view::npos || !text.ends_with(suffix) || nameStart >= text.size() - suffix.size()) {
      trimmed.set(key, value);
      continue;
    }
    std::u16string name(text.substr(nameStart, text.size() - suffix.size() - nameStart));
    if (!U16_IS_SURROGATE(name[0])) name[0] = static_cast<char16_t>(u_tolower(name[0]));
    trimmed.set(Value::string(name), value);
  }
  return Value::record(std::move(trimmed));
}

}  // namespace tessaro
