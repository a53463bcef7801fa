// Walking a folder's contents in the file system's own order, the way the
// desktop's enumerator does: each item is reported before its contents,
// subfolders are entered unless the options say otherwise, symbolic links
// are reported but never followed, and a subfolder that cannot be opened is
// reported and then passed over.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace tessaro::platform {

// Option bits, as scripts pass them.
inline constexpr unsigned skipDescendants = 1;      // report the folder's own children only
inline constexpr unsigned skipPackageContents = 2;  // report packages but do not enter them
inline constexpr unsigned skipHiddenItems = 4;      // leave out hidden items (and what they hold)

// A type as readdir reports it (DT_REG, DT_DIR, DT_LNK …). When the
// directory entry does not tell, the item is looked at; DT_UNKNOWN remains
// only for an item that could not be read at all.
struct WalkEntry {
  const std::string& path;  // the folder's path joined with the item's name
  std::string_view name;
  unsigned char type;
};

// Reports each item under `folder` to `visit`; false (and nothing reported)
// when the folder itself cannot be opened.
bool walkFolder(const std::string& folder, unsigned options, const std::function<void(const WalkEntry&)>& visit);

}  // namespace tessaro::platform
