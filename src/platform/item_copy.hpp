// Copying, moving and atomically replacing file-system items.
//
// A copy takes a whole folder tree and keeps each item's permission bits,
// times and extended attributes; symbolic links are copied as links. A
// replace never leaves the destination missing or partial: the new item is
// made in a scratch folder beside the destination (on the same file system)
// and swapped in with one atomic rename, after which the scratch folder,
// now holding the old item, is removed. Scratch folders carry the replacing
// process's id in their names, so that one left behind by a process that
// was killed is recognised and removed by a later replace into that folder.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tessaro::platform {

// A failure: the errno that caused it and whether it happened on the
// destination's side (writing) or the source's (reading).
struct ItemFailure {
  int error = 0;
  bool writing = false;
  std::string path;  // the item the failure concerns
  bool scratchFolder = false;  // a replace could not make its scratch folder
};

// Copies `source` to the new item `destination`, which must not exist yet
// (EEXIST otherwise). On failure nothing of the new item is left behind.
std::optional<ItemFailure> copyItem(const std::string& source, const std::string& destination);
// Moves `source` to `destination`, which must not exist yet; across file
// systems the item is copied and the source removed.
std::optional<ItemFailure> moveItem(const std::string& source, const std::string& destination);
// Puts a copy of `source` (or, when `consumeSource`, the source item itself)
// in the place of the existing `destination`, atomically.
std::optional<ItemFailure> replaceItem(const std::string& source, const std::string& destination, bool consumeSource);

// The prefix of scratch folder names.
inline constexpr std::string_view kScratchPrefix = ".tessaro-replace-";

// Removes an item and everything inside it; errors are ignored.
void removeItem(const std::string& path);

// For fault tests only: when set, the copy of file contents fails with
// ENOSPC once this many bytes have been written in the calling process.
void failCopiesAfterBytes(std::optional<std::uint64_t> bytes);

}  // namespace tessaro::platform
