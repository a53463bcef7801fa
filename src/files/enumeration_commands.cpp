// Lists of a folder's items, files or folders (as urls or paths), and the
// registration of every folder enumeration and resource-value command.
#include <dirent.h>

#include "files/file_arguments.hpp"
#include "platform/directory_walk.hpp"
#include "registry/subsystems.hpp"
#include "tessaro/registry.hpp"

namespace tessaro {
namespace {

enum class Selection { items, files, folders };

// A package counts as a file: only a plain folder is a folder.
bool isPlainFolder(const platform::WalkEntry& entry) {
  return entry.type == DT_DIR && !platform::hasPackageExtension(entry.name);
}

Value itemsIn(const Value& folder, bool recursive, bool skipHidden, bool skipInsidePackages, bool asPaths,
              Selection selection) {
  std::optional<std::string> path = files::pathFromReference(folder);
  if (!path) return Value();
  unsigned options = skipHidden ? platform::skipHiddenItems : 0;
  // The plain item list of one folder is a shallow listing, which has no
  // package option; every other list is a walk that may skip package contents.
  if (selection != Selection::items || recursive) options |= skipInsidePackages ? platform::skipPackageContents : 0;
  if (!recursive) options |= platform::skipDescendants;

  ListBuilder list;
  bool opened = platform::walkFolder(*path, options, [&](const platform::WalkEntry& entry) {
    if (selection != Selection::items && (selection == Selection::folders) != isPlainFolder(entry)) return;
    list.push(asPaths ? Value::fromUtf8(entry.path)
                      : Value::url(platform::fileURLFromPath(entry.path, entry.type == DT_DIR)));
  });
  if (!opened) return Value();
  return list.finish();
}

}  // namespace

Value KRVForder::itemsIn_recursive_skipHidden_skipInsidePackages_asPaths_(const Value& folder, const Value& recursive,
                                                                         const Value& skipHidden,
                                                                         const Value& skipInsidePackages,
                                                                         const Value& asPaths) {
  return itemsIn(folder, recursive.boolValue(), skipHidden.boolValue(), skipInsidePackages.boolValue(),
                 asPaths.boolValue(), Selection::items);
}
Value KRVForder::itemsIn_recursive_asPaths_(const Value& folder, const Value& recursive, const Value& asPaths) {
  return itemsIn(folder, recursive.boolValue(), true, true, asPaths.boolValue(), Selection::items);
}
Value KRVForder::filesIn_recursive_skipHidden_skipInsidePackages_asPaths_(const Value& folder, const Value& recursive,
                                                                         const Value& skipHidden,
                                                                         const Value& skipInsidePackages,
                                                                         const Value& asPaths) {
  return itemsIn(folder, recursive.boolValue(), skipHidden.boolValue(), skipInsidePackages.boolValue(),
                 asPaths.boolValue(), Selection::files);
}
Value KRVForder::filesIn_recursive_asPaths_(const Value& folder, const Value& recursive, const Value& asPaths) {
  return itemsIn(folder, recursive.boolValue(), true, true, asPaths.boolValue(), Selection::files);
}
Value KRVForder::foldersIn_recursive_skipHidden_skipInsidePackages_asPaths_(const Value& folder,
                                                                           const Value& recursive,
                                                                           const Value& skipHidden,
                                                                           const Value& skipInsidePackages,
                                                                           const Value& asPaths) {
  return itemsIn(folder, recursive.boolValue(), skipHidden.boolValue(), skipInsidePackages.boolValue(),
                 asPaths.boolValue(), Selection::folders);
}
Value KRVForder::foldersIn_recursive_asPaths_(const Value& folder, const Value& recursive, const Value& asPaths) {
  return itemsIn(folder, recursive.boolValue(), true, true, asPaths.boolValue(), Selection::folders);
}

Value KRVForder::pathsIn_recursive_(const Value& folder, const Value& recursive) {
  std::optional<std::string> path = files::pathFromReference(folder);
  if (!path) return Value();
  // Hidden items and package contents are always left out here.
  unsigned options = platform::skipHiddenItems | platform::skipPackageContents |
                     (recursive.boolValue() ? 0 : platform::skipDescendants);
  ListBuilder paths;
  bool opened = platform::walkFolder(*path, options, [&](const platform::WalkEntry& entry) {
    paths.push(isPlainFolder(entry) ? Value::fromUtf8(entry.path + "/") : Value::fromUtf8(entry.path));
  });
  if (!opened) return Value();
  return paths.finish();
}

void registerEnumerationCommands(Registry& r) {
  r.add<&KRVForder::resourceValueForKey_forURLsOrFiles_>("resourceValueForKey:forURLsOrFiles:");
  r.add<&KRVForder::resourceValuesForKeys_forURLsOrFiles_>("resourceValuesForKeys:forURLsOrFiles:");
  r.add<&KRVForder::resourceValuesForKeys_forItemsIn_recursive_skipHidden_skipInsidePackages_>(
      "resourceValuesForKeys:forItemsIn:recursive:skipHidden:skipInsidePackages:");
  r.add<&KRVForder::resourceValuesForKeys_forItemsIn_recursive_>("resourceValuesForKeys:forItemsIn:recursive:");
  r.add<&KRVForder::resourceValuesForKeys_forFilesIn_recursive_skipHidden_skipInsidePackages_>(
      "resourceValuesForKeys:forFilesIn:recursive:skipHidden:skipInsidePackages:");
  r.add<&KRVForder::resourceValuesForKeys_forFilesIn_recursive_>("resourceValuesForKeys:forFilesIn:recursive:");
  r.add<&KRVForder::resourceValuesForKeys_forFoldersIn_recursive_skipHidden_skipInsidePackages_>(
      "resourceValuesForKeys:forFoldersIn:recursive:skipHidden:skipInsidePackages:");
  r.add<&KRVForder::resourceValuesForKeys_forFoldersIn_recursive_>("resourceValuesForKeys:forFoldersIn:recursive:");
  r.add<&KRVForder::itemsIn_recursive_skipHidden_skipInsidePackages_asPaths_>(
      "itemsIn:recursive:skipHidden:skipInsidePackages:asPaths:");
  r.add<&KRVForder::itemsIn_recursive_asPaths_>("itemsIn:recursive:asPaths:");
  r.add<&KRVForder::filesIn_recursive_skipHidden_skipInsidePackages_asPaths_>(
      "filesIn:recursive:skipHidden:skipInsidePackages:asPaths:");
  r.add<&KRVForder::filesIn_recursive_asPaths_>("filesIn:recursive:asPaths:");
  r.add<&KRVForder::foldersIn_recursive_skipHidden_skipInsidePackages_asPaths_>(
      "foldersIn:recursive:skipHidden:skipInsidePackages:asPaths:");
  r.add<&KRVForder::foldersIn_recursive_asPaths_>("foldersIn:recursive:asPaths:");
  r.add<&KRVForder::pathsIn_recursive_>("pathsIn:recursive:");
  r.add<&KRVForder::KRV_folderSizeOfURL_>("KRV_folderSizeOfURL:", Visibility::privateOperation);
  r.add<&KRVForder::KRV_trimNSURLKeysInDictionary_>("KRV_trimNSURLKeysInDictionary:", Visibility::privateOperation);
}

}  // namespace tessaro
