// The folder walk: each folder is read whole before its items are reported;
// a descriptor of each folder on the way down (up to a bound) stays open so
// that subfolders are opened by name, and no item is looked at (stat) when
// its directory entry already says what it is.
#include "platform/directory_walk.hpp"

#include <algorithm>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>
#include <sys/stat.h>
#include <utility>
#include <vector>

#include "platform/file_attributes.hpp"
#include "platform/file_paths.hpp"

namespace tessaro::platform {
namespace {

struct RawEntry {
  std::string name;
  unsigned char type;
};

// Reads the names of one open folder and closes it.
void readFolder(DIR* dir, const std::string& path, bool skipHidden, std::vector<RawEntry>& entries) {
  bool hasHiddenList = false;
  while (const dirent* entry = ::readdir(dir)) {
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    if (skipHidden && name.front() == '.') {
      hasHiddenList = hasHiddenList || name == ".hidden";
      continue;
    }
    entries.push_back(RawEntry{std::string(name), entry->d_type});
  }
  ::closedir(dir);
  // The ".hidden" file is read only where the folder has one.
  if (hasHiddenList) {
    std::vector<std::string> listed = readHiddenList(path);
    std::erase_if(entries, [&](const RawEntry& e) { return std::find(listed.begin(), listed.end(), e.name) != listed.end(); });
  }
}

// Opens a subfolder by its name in its parent, which spares the kernel the
// walk down the whole path; by the path when the parent is not open.
DIR* openFolder(int parent, const std::string& name, const std::string& path) {
  if (parent < 0) return ::opendir(path.c_str());
  int fd = ::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (fd < 0) return nullptr;
  DIR* dir = ::fdopendir(fd);
  if (dir == nullptr) ::close(fd);
  return dir;
}

unsigned char typeFromMode(mode_t mode) {
  if (S_ISREG(mode)) return DT_REG;
  if (S_ISDIR(mode)) return DT_DIR;
  if (S_ISLNK(mode)) return DT_LNK;
  if (S_ISCHR(mode)) return DT_CHR;
  if (S_ISBLK(mode)) return DT_BLK;
  if (S_ISFIFO(mode)) return DT_FIFO;
  if (S_ISSOCK(mode)) return DT_SOCK;
  return DT_UNKNOWN;
}

// Folders deeper than this are opened by their paths, so that the walk
// holds at most this many descriptors however deep the tree.
constexpr std::size_t kOpenAncestors = 32;

struct Frame {
  std::vector<RawEntry> entries;
  std::size_t next = 0;
  std::size_t pathLength = 0;  // of the folder's path, where item names are appended
  int fd = -1;                 // the folder, kept open to open its subfolders by name
};

void closeFrame(Frame& frame) {
  if (frame.fd >= 0) ::close(frame.fd);
  frame.fd = -1;
}

}  // namespace

bool walkFolder(const std::string& folder, unsigned options, const std::function<void(const WalkEntry&)>& visit) {
  if (folder.empty() || folder.find('\0') != std::string::npos) return false;
  const bool skipHidden = options & skipHiddenItems;
  const bool descend = !(options & skipDescendants);
  std::vector<Frame> frames(1);
  // Descriptors are closed however the walk ends, a visit's failure included.
  struct CloseAll {
    std::vector<Frame>& frames;
    ~CloseAll() {
      for (Frame& frame : frames) closeFrame(frame);
    }
  } closeAll{frames};
  DIR* top = ::opendir(folder.c_str());
  if (top == nullptr) return false;
  // A second descriptor of the folder outlives the listing, for its subfolders.
  if (descend) frames.back().fd = ::fcntl(::dirfd(top), F_DUPFD_CLOEXEC, 0);
  std::string path = folder;
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  readFolder(top, path, skipHidden, frames.back().entries);
  frames.back().pathLength = path.size();

  while (!frames.empty()) {
    Frame& frame = frames.back();
    if (frame.next == frame.entries.size()) {
      closeFrame(frame);
      frames.pop_back();
      continue;
    }
    RawEntry& entry = frame.entries[frame.next++];
    path.resize(frame.pathLength);
    if (path.back() != '/') path.push_back('/');
    path += entry.name;
    unsigned char type = entry.type;
    if (type == DT_UNKNOWN) {
      struct stat info {};
      if (::lstat(path.c_str(), &info) == 0) type = typeFromMode(info.st_mode);
    }
    visit(WalkEntry{path, entry.name, type});

    if (type != DT_DIR || !descend) continue;
    if ((options & skipPackageContents) && hasPackageExtension(entry.name)) continue;
    // A subfolder that cannot be read has been reported; its contents are
    // passed over and the walk goes on.
    DIR* dir = openFolder(frame.fd, entry.name, path);
    if (dir == nullptr) continue;
    Frame child;
    child.pathLength = path.size();
    if (frames.size() < kOpenAncestors) child.fd = ::fcntl(::dirfd(dir), F_DUPFD_CLOEXEC, 0);
    readFolder(dir, path, skipHidden, child.entries);
    if (child.entries.empty()) closeFrame(child);
    else frames.push_back(std::move(child));
  }
  return true;
}

}  // namespace tessaro::platform
