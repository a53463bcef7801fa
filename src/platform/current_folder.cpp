// Reading the current folder with a buffer that grows as needed.
#include "platform/current_folder.hpp"

#include <cerrno>
#include <unistd.h>
#include <vector>

namespace tessaro::platform {

std::string currentFolder() {
  std::vector<char> buffer(256);
  // Folders can be nested deeper than PATH_MAX; keep doubling while getcwd
  // reports that the buffer is too small, up to a generous bound.
  while (buffer.size() <= (std::size_t{1} << 20)) {
    if (::getcwd(buffer.data(), buffer.size()) != nullptr) {
      std::string folder(buffer.data());
      if (!folder.empty() && folder.front() == '/') return folder;
      break;  // "(unreachable)/..." on Linux when the folder is elsewhere
    }
    if (errno != ERANGE) break;
    buffer.resize(buffer.size() * 2);
  }
  return "/";
}

std::string absolutePath(std::string_view path) {
  if (!path.empty() && path.front() == '/') return std::string(path);
  std::string result = currentFolder();
  if (result.back() != '/') result.push_back('/');
  result.append(path);
  return result;
}

}  // namespace tessaro::platform
