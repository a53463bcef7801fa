// The process's current folder, for the path conversions that accept
// relative paths (file URLs and HFS paths starting with ':').
#pragma once

#include <string>
#include <string_view>

namespace tessaro::platform {

// The current folder as an absolute path without a trailing "/" (except for
// the root). When it cannot be read (it was removed, or is too deep), "/" is
// used so that callers still produce an absolute path.
std::string currentFolder();

// `path` itself when it starts with "/", otherwise `path` appended to the
// current folder. Nothing else is tidied: "." and ".." stay as given.
std::string absolutePath(std::string_view path);

}  // namespace tessaro::platform
