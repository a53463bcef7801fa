// Copies of whole trees, moves, and the atomic replace through a scratch
// folder beside the destination.
#include "platform/item_copy.hpp"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

#include "platform/file_attributes.hpp"

namespace tessaro::platform {
namespace {

std::atomic<std::int64_t> faultBudget{-1};  // bytes left before a fault; -1: no fault

std::string join(const std::string& folder, std::string_view name) {
  std::string path = folder;
  if (path.empty() || path.back() != '/') path.push_back('/');
  path += name;
  return path;
}

ItemFailure failure(bool writing, const std::string& path, int error = errno) { return ItemFailure{error, writing, path}; }

// Copies the extended attributes that the destination may hold; those it
// refuses (a link cannot carry user attributes) are passed over.
void copyExtendedAttributes(const std::string& source, const std::string& destination) {
  ssize_t size = ::llistxattr(source.c_str(), nullptr, 0);
  if (size <= 0) return;
  std::string names(std::size_t(size), '\0');
  size = ::llistxattr(source.c_str(), names.data(), names.size());
  if (size <= 0) return;
  names.resize(std::size_t(size));
  std::string value;
  for (std::size_t at = 0; at < names.size();) {
    const char* name = names.c_str() + at;
    at += std::strlen(name) + 1;
    ssize_t length = ::lgetxattr(source.c_str(), name, nullptr, 0);
    if (length < 0) continue;
    value.resize(std::size_t(length));
    length = ::lgetxattr(source.c_str(), name, value.data(), value.size());
    if (length < 0) continue;
    ::lsetxattr(destination.c_str(), name, value.data(), std::size_t(length), 0);
  }
}

void copyTimes(const struct stat& info, const std::string& destination) {
  const timespec times[2] = {info.st_atim, info.st_mtim};
  ::utimensat(AT_FDCWD, destination.c_str(), times, AT_SYMLINK_NOFOLLOW);
}

// Writes the contents of `in` to `out`, in the kernel where it can.
std::optional<ItemFailure> copyContents(int in, int out, const std::string& source, const std::string& destination) {
  constexpr std::size_t kChunk = 1 << 20;
  bool kernelCopy = true;
  std::vector<char> buffer;
  for (;;) {
    std::size_t chunk = kChunk;
    std::int64_t budget = faultBudget.load();
    if (budget == 0) return failure(true, destination, ENOSPC);
    if (budget > 0 && std::uint64_t(budget) < chunk) chunk = std::size_t(budget);
    ssize_t copied = -1;
    if (kernelCopy) {
      copied = ::copy_file_range(in, nullptr, out, nullptr, chunk, 0);
      if (copied < 0 && (errno == EXDEV || errno == ENOSYS || errno == EINVAL || errno == EOPNOTSUPP)) {
        kernelCopy = false;
        continue;
      }
      if (copied < 0) return failure(errno == EIO ? false : true, errno == EIO ? source : destination);
    } else {
      buffer.resize(chunk);
      ssize_t got = ::read(in, buffer.data(), chunk);
      if (got < 0) {
        if (errno == EINTR) continue;
        return failure(false, source);
      }
      copied = got;
      for (ssize_t written = 0; written < got;) {
        ssize_t n = ::write(out, buffer.data() + written, std::size_t(got - written));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return failure(true, destination);
        written += n;
      }
    }
    if (copied == 0) return std::nullopt;
    if (budget > 0) faultBudget.store(budget - copied);
  }
}

std::optional<ItemFailure> copyFile(const std::string& source, const std::string& destination, const struct stat& info,
                                    bool& created) {
  int in = ::open(source.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
  if (in < 0) return failure(false, source);
  int out = ::open(destination.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (out < 0) {
    ItemFailure f = failure(true, destination);
    ::close(in);
    return f;
  }
  created = true;
  std::optional<ItemFailure> f = copyContents(in, out, source, destination);
  if (!f && ::fchmod(out, info.st_mode & 07777) != 0) f = failure(true, destination);
  ::close(in);
  if (::close(out) != 0 && !f) f = failure(true, destination);
  if (f) return f;
  copyExtendedAttributes(source, destination);
  copyTimes(info, destination);
  return std::nullopt;
}

std::optional<ItemFailure> copyTree(const std::string& source, const std::string& destination, bool& created) {
  struct stat info {};
  if (::lstat(source.c_str(), &info) != 0) return failure(false, source);

  if (S_ISREG(info.st_mode)) return copyFile(source, destination, info, created);

  if (S_ISLNK(info.st_mode)) {
    std::string target(std::size_t(info.st_size) + 1, '\0');
    ssize_t length = ::readlink(source.c_str(), target.data(), target.size());
    if (length < 0) return failure(false, source);
    target.resize(std::size_t(length));
    if (::symlink(target.c_str(), destination.c_str()) != 0) return failure(true, destination);
    created = true;
    copyExtendedAttributes(source, destination);
    copyTimes(info, destination);
    return std::nullopt;
  }

  if (S_ISDIR(info.st_mode)) {
    // Made private first, so that nobody reaches a half-made folder; its own
    // permissions are set once it is whole.
    if (::mkdir(destination.c_str(), 0700) != 0) return failure(true, destination);
    created = true;
    DIR* dir = ::opendir(source.c_str());
    if (dir == nullptr) return failure(false, source);
    std::vector<std::string> names;
    while (const dirent* entry = ::readdir(dir)) {
      std::string_view name = entry->d_name;
      if (name != "." && name != "..") names.emplace_back(name);
    }
    ::closedir(dir);
    for (const std::string& name : names) {
      bool ignored = false;
      if (auto f = copyTree(join(source, name), join(destination, name), ignored)) return f;
    }
    copyExtendedAttributes(source, destination);
    if (::chmod(destination.c_str(), info.st_mode & 07777) != 0) return failure(true, destination);
    copyTimes(info, destination);
    return std::nullopt;
  }

  // Pipes, sockets and device nodes are made anew.
  if (::mknod(destination.c_str(), info.st_mode, info.st_rdev) != 0) return failure(true, destination);
  created = true;
  copyTimes(info, destination);
  return std::nullopt;
}

// Removes the scratch folders that processes which no longer run left in
// `folder`; those of running processes may be in use.
void removeAbandonedScratch(const std::string& folder) {
  DIR* dir = ::opendir(folder.c_str());
  if (dir == nullptr) return;
  std::vector<std::string> abandoned;
  while (const dirent* entry = ::readdir(dir)) {
    std::string_view name = entry->d_name;
    if (!name.starts_with(kScratchPrefix)) continue;
    const long pid = std::strtol(std::string(name.substr(kScratchPrefix.size())).c_str(), nullptr, 10);
    if (pid > 0 && ::kill(pid_t(pid), 0) != 0 && errno == ESRCH) abandoned.push_back(join(folder, name));
  }
  ::closedir(dir);
  for (const std::string& path : abandoned) removeItem(path);
}

// Puts `staged` in the place of `destination` and leaves the old item at
// `staged`, atomically where the file system can exchange two names.
std::optional<ItemFailure> swapIn(const std::string& staged, const std::string& destination,
                                  const std::string& scratch) {
  if (::renameat2(AT_FDCWD, staged.c_str(), AT_FDCWD, destination.c_str(), RENAME_EXCHANGE) == 0) return std::nullopt;
  if (errno == ENOENT) {
    // The destination went away meanwhile: the new item simply takes its name.
    if (::renameat2(AT_FDCWD, staged.c_str(), AT_FDCWD, destination.c_str(), RENAME_NOREPLACE) == 0) return std::nullopt;
    return failure(true, destination);
  }
  if (errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP) return failure(true, destination);
  // No exchange on this file system. Renaming over a file or an empty
  // folder is atomic; a folder with contents is first moved aside.
  if (::rename(staged.c_str(), destination.c_str()) == 0) return std::nullopt;
  if (errno != ENOTEMPTY && errno != EEXIST && errno != EISDIR && errno != ENOTDIR) return failure(true, destination);
  const std::string old = join(scratch, "old");
  if (::rename(destination.c_str(), old.c_str()) != 0) return failure(true, destination);
  if (::rename(staged.c_str(), destination.c_str()) != 0) {
    ItemFailure f = failure(true, destination);
    ::rename(old.c_str(), destination.c_str());
    return f;
  }
  return std::nullopt;
}

}  // namespace

std::optional<ItemFailure> copyItem(const std::string& source, const std::string& destination) {
  bool created = false;
  std::optional<ItemFailure> f = copyTree(source, destination, created);
  // Only what this copy made is removed: never an item that was there before.
  if (f && created) removeItem(destination);
  return f;
}

std::optional<ItemFailure> moveItem(const std::string& source, const std::string& destination) {
  if (::renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, destination.c_str(), RENAME_NOREPLACE) == 0) return std::nullopt;
  const int error = errno;
  struct stat info {};
  if (error == ENOENT && ::lstat(source.c_str(), &info) != 0) return failure(false, source, ENOENT);
  if (error == EINVAL && ::lstat(destination.c_str(), &info) != 0) {
    // A file system without the no-replace rename.
    if (::rename(source.c_str(), destination.c_str()) == 0) return std::nullopt;
    if (errno != EXDEV) return failure(true, destination);
  } else if (error != EXDEV) {
    return failure(true, destination, error);
  }
  if (auto f = copyItem(source, destination)) return f;
  removeItem(source);
  return std::nullopt;
}

std::optional<ItemFailure> replaceItem(const std::string& source, const std::string& destination, bool consumeSource) {
  const std::string folder(parentOfPath(destination));
  removeAbandonedScratch(folder);
  std::string scratch = join(folder, std::string(kScratchPrefix) + std::to_string(::getpid()) + "-XXXXXX");
  if (::mkdtemp(scratch.data()) == nullptr) {
    ItemFailure f = failure(true, destination);
    f.scratchFolder = true;
    return f;
  }
  const std::string staged = join(scratch, lastPathComponent(destination));

  std::optional<ItemFailure> f = consumeSource ? moveItem(source, staged) : copyItem(source, staged);
  if (!f) {
    f = swapIn(staged, destination, scratch);
    // A source that was moved in and could not be swapped goes back.
    if (f && consumeSource) ::rename(staged.c_str(), source.c_str());
  }
  removeItem(scratch);
  return f;
}

void removeItem(const std::string& path) {
  struct stat info {};
  if (::lstat(path.c_str(), &info) != 0) return;
  if (S_ISDIR(info.st_mode)) {
    // A folder that cannot be listed may still be made listable by its owner.
    ::chmod(path.c_str(), (info.st_mode & 07777) | S_IRWXU);
    if (DIR* dir = ::opendir(path.c_str())) {
      std::vector<std::string> names;
      while (const dirent* entry = ::readdir(dir)) {
        std::string_view name = entry->d_name;
        if (name != "." && name != "..") names.emplace_back(name);
      }
      ::closedir(dir);
      for (const std::string& name : names) removeItem(join(path, name));
    }
    ::rmdir(path.c_str());
  } else {
    ::unlink(path.c_str());
  }
}

void failCopiesAfterBytes(std::optional<std::uint64_t> bytes) {
  faultBudget.store(bytes ? std::int64_t(*bytes) : -1);
}

}  // namespace tessaro::platform
