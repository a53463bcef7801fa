// The folder walk: each folder is read whole and closed before its items
// are reported, so that one descriptor is open at a time however deep the
// tree, and no item is looked at (stat) when its directory entry already
// says what it is.
#include "platform/directory_walk.hpp"

#include <algorithm>
#include <dirent.h>
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

// Reads the names of one folder; false when it cannot be opened.
bool readFolder(const std::string& path, bool skipHidden, std::vector<RawEntry>& entries) {
  DIR* dir = ::opendir(path.c_str());
  if (dir == nullptr) return false;
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
  return true;
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

struct Frame {
  std::vector<RawEntry> entries;
  std::size_t next = 0;
  std::size_t pathLength = 0;  // of the folder's path, where item names are appended
};

}  // namespace

bool walkFolder(const std::string& folder, unsigned options, const std::function<void(const WalkEntry&)>& visit) {
  if (folder.empty() || folder.find('\0') != std::string::npos) return false;
  const bool skipHidden = options & skipHiddenItems;
  std::vector<Frame> frames(1);
  if (!readFolder(folder, skipHidden, frames.back().entries)) return false;
  std::string path = folder;
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  frames.back().pathLength = path.size();

  while (!frames.empty()) {
    Frame& frame = frames.back();
    if (frame.next == frame.entries.size()) {
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

    if (type != DT_DIR || (options & skipDescendants)) continue;
    if ((options & skipPackageContents) && hasPackageExtension(entry.name)) continue;
    Frame child;
    child.pathLength = path.size();
    // A subfolder that cannot be read has been reported; its contents are
    // passed over and the walk goes on.
    if (readFolder(path, skipHidden, child.entries) && !child.entries.empty()) frames.push_back(std::move(child));
  }
  return true;
}

}  // namespace tessaro::platform
