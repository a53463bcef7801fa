// What Linux keeps about one file-system item: its status (statx, with the
// birth time where the file system records it and the immutable and
// append-only inode flags), the caller's access to it, its tag names (the
// "user.xdg.tags" extended attribute that desktop file managers write) and
// whether the desktop hides it (a leading dot, or a line of the folder's
// ".hidden" file).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tessaro::platform {

struct FileStatus {
  std::uint32_t mode = 0;  // type and permission bits, as st_mode
  std::uint64_t linkCount = 0;
  std::uint64_t size = 0;            // bytes
  std::uint64_t allocatedSize = 0;   // bytes of storage (blocks of 512)
  std::uint32_t preferredBlockSize = 0;
  std::uint64_t inode = 0;
  std::uint64_t device = 0;
  // Seconds since 1970, with their fractions.
  double accessTime = 0, modificationTime = 0, statusChangeTime = 0;
  std::optional<double> birthTime;  // absent where the file system keeps none
  bool immutable = false;
  bool appendOnly = false;
  bool mountRoot = false;
};

// The status of the item itself (a symbolic link is not followed); no value
// when it cannot be read.
std::optional<FileStatus> readFileStatus(const std::string& path);
// The same, following symbolic links.
std::optional<FileStatus> readFollowedFileStatus(const std::string& path);

// Whether the calling process may read, write or execute (search) the item,
// as access(2) decides with the real user and group.
bool canRead(const std::string& path);
bool canWrite(const std::string& path);
bool canExecute(const std::string& path);

// The item's tag names, from the comma-separated "user.xdg.tags" attribute
// (read from the item itself, not a link's target); no value when it has
// none or the file system keeps no extended attributes.
std::optional<std::vector<std::string>> readTagNames(const std::string& path);

// The names listed in `folder`'s ".hidden" file, one a line; empty when the
// file is missing or unreadable.
std::vector<std::string> readHiddenList(const std::string& folder);
// Whether the desktop hides the item at `path`: its name starts with "." or
// is listed in its folder's ".hidden" file.
bool isHiddenItem(const std::string& path);

// The folder part and last component of a path without a trailing "/"
// ("/a/b" gives "/a" and "b", "/a" gives "/" and "a").
std::string_view parentOfPath(std::string_view path) noexcept;
std::string_view lastPathComponent(std::string_view path) noexcept;

}  // namespace tessaro::platform
