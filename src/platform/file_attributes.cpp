// Reading an item's status, access, tags and hidden flag from Linux.
#include "platform/file_attributes.hpp"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <fstream>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace tessaro::platform {
namespace {

double seconds(const statx_timestamp& t) { return double(t.tv_sec) + double(t.tv_nsec) / 1e9; }

std::optional<FileStatus> statusOf(const std::string& path, int flags) {
  if (path.empty() || path.find('\0') != std::string::npos) return std::nullopt;
  struct statx sx {};
  // Folders on network mounts need not be synchronised just to be listed.
  if (::statx(AT_FDCWD, path.c_str(), flags | AT_STATX_SYNC_AS_STAT, STATX_BASIC_STATS | STATX_BTIME, &sx) != 0)
    return std::nullopt;
  FileStatus status;
  status.mode = sx.stx_mode;
  status.linkCount = sx.stx_nlink;
  status.size = sx.stx_size;
  status.allocatedSize = sx.stx_blocks * 512;
  status.preferredBlockSize = sx.stx_blksize;
  status.inode = sx.stx_ino;
  status.device = (std::uint64_t(sx.stx_dev_major) << 32) | sx.stx_dev_minor;
  status.accessTime = seconds(sx.stx_atime);
  status.modificationTime = seconds(sx.stx_mtime);
  status.statusChangeTime = seconds(sx.stx_ctime);
  // Some file systems claim a birth time and report the epoch itself.
  if ((sx.stx_mask & STATX_BTIME) && (sx.stx_btime.tv_sec != 0 || sx.stx_btime.tv_nsec != 0))
    status.birthTime = seconds(sx.stx_btime);
  auto flag = [&](std::uint64_t bit) { return (sx.stx_attributes_mask & bit) && (sx.stx_attributes & bit); };
  status.immutable = flag(STATX_ATTR_IMMUTABLE);
  status.appendOnly = flag(STATX_ATTR_APPEND);
  status.mountRoot = flag(STATX_ATTR_MOUNT_ROOT);
  return status;
}

bool accessible(const std::string& path, int mode) {
  return !path.empty() && path.find('\0') == std::string::npos && ::access(path.c_str(), mode) == 0;
}

}  // namespace

std::optional<FileStatus> readFileStatus(const std::string& path) { return statusOf(path, AT_SYMLINK_NOFOLLOW); }
std::optional<FileStatus> readFollowedFileStatus(const std::string& path) { return statusOf(path, 0); }

bool canRead(const std::string& path) { return accessible(path, R_OK); }
bool canWrite(const std::string& path) { return accessible(path, W_OK); }
bool canExecute(const std::string& path) { return accessible(path, X_OK); }

std::optional<std::vector<std::string>> readTagNames(const std::string& path) {
  if (path.empty() || path.find('\0') != std::string::npos) return std::nullopt;
  std::string buffer(256, '\0');
  for (;;) {
    ssize_t n = ::lgetxattr(path.c_str(), "user.xdg.tags", buffer.data(), buffer.size());
    if (n >= 0) {
      buffer.resize(std::size_t(n));
      break;
    }
    // Grown to the attribute's present size when it did not fit.
    if (errno != ERANGE) return std::nullopt;
    ssize_t needed = ::lgetxattr(path.c_str(), "user.xdg.tags", nullptr, 0);
    if (needed < 0) return std::nullopt;
    buffer.assign(std::size_t(needed) + 1, '\0');
  }
  std::vector<std::string> tags;
  std::size_t start = 0;
  while (start <= buffer.size()) {
    std::size_t comma = buffer.find(',', start);
    if (comma == std::string::npos) comma = buffer.size();
    std::string tag = buffer.substr(start, comma - start);
    // Writers differ on spaces after the commas and on a trailing NUL.
    while (!tag.empty() && (tag.back() == '\0' || tag.back() == ' ')) tag.pop_back();
    std::size_t first = tag.find_first_not_of(' ');
    if (first != std::string::npos) tags.push_back(tag.substr(first));
    start = comma + 1;
  }
  if (tags.empty()) return std::nullopt;
  return tags;
}

std::vector<std::string> readHiddenList(const std::string& folder) {
  std::vector<std::string> names;
  std::ifstream in(folder == "/" ? std::string("/.hidden") : folder + "/.hidden");
  std::string line;
  while (std::getline(in, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (!line.empty()) names.push_back(line);
  }
  return names;
}

bool isHiddenItem(const std::string& path) {
  std::string_view name = lastPathComponent(path);
  if (!name.empty() && name.front() == '.') return true;
  if (name.empty() || name == "/") return false;
  std::vector<std::string> listed = readHiddenList(std::string(parentOfPath(path)));
  return std::find(listed.begin(), listed.end(), name) != listed.end();
}

std::string_view parentOfPath(std::string_view path) noexcept {
  std::size_t slash = path.rfind('/');
  if (slash == std::string_view::npos) return ".";
  if (slash == 0) return "/";
  return path.substr(0, slash);
}

std::string_view lastPathComponent(std::string_view path) noexcept {
  if (path == "/") return path;
  std::size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

}  // namespace tessaro::platform
