// Package extensions and reading whether an item is a folder or a package.
//
// A package is a folder that the desktop presents as one item (an
// application, a plug-in, a document saved as a folder). On Linux nothing
// marks such folders, so a folder is a package when its name carries one of
// the extensions below.
#include <array>
#include <string>
#include <sys/stat.h>

#include "platform/ascii_case.hpp"
#include "platform/file_paths.hpp"

namespace tessaro::platform {
namespace {

// Compared without regard to ASCII case ("Foo.APP" is a package too).
constexpr std::array<std::string_view, 36> kPackageExtensions = {
    // applications and their parts
    "app", "appex", "bundle", "framework", "plugin", "xpc", "component",
    // system extensions and panels
    "kext", "prefpane", "saver", "wdgt", "qlgenerator", "mdimporter", "dsym",
    // installers
    "pkg", "mpkg",
    // scripts and automation
    "scptd", "workflow", "action",
    // documents saved as folders
    "rtfd", "key", "pages", "numbers", "band", "logicx", "photoslibrary", "fcpbundle",
    "imovielibrary", "theater", "musiclibrary",
    // developer projects
    "xcodeproj", "xcworkspace", "xcarchive", "playground", "xcassets", "xcdatamodeld",
};

// The last component of a name or path, ignoring trailing slashes.
std::string_view lastComponent(std::string_view name) noexcept {
  while (name.size() > 1 && name.back() == '/') name.remove_suffix(1);
  std::size_t slash = name.rfind('/');
  return slash == std::string_view::npos ? name : name.substr(slash + 1);
}

}  // namespace

std::span<const std::string_view> packageExtensions() noexcept { return kPackageExtensions; }

bool hasPackageExtension(std::string_view name) noexcept {
  std::string_view component = lastComponent(name);
  std::size_t dot = component.rfind('.');
  // A name that only starts with a dot (".app") is hidden, not extended.
  if (dot == std::string_view::npos || dot == 0) return false;
  std::string_view extension = component.substr(dot + 1);
  for (std::string_view known : kPackageExtensions)
    if (equalsIgnoringASCIICase(extension, known)) return true;
  return false;
}

std::optional<ItemKind> readItemKind(std::string_view path, bool followLinks) {
  // A NUL byte would silently shorten the path handed to lstat().
  if (path.empty() || path.find('\0') != std::string_view::npos) return std::nullopt;
  struct stat info {};
  // Unless asked otherwise, a symbolic link is an item of its own, not the
  // folder it points to.
  const std::string terminated(path);
  if ((followLinks ? ::stat(terminated.c_str(), &info) : ::lstat(terminated.c_str(), &info)) != 0) return std::nullopt;
  ItemKind kind;
  kind.isDirectory = S_ISDIR(info.st_mode);
  kind.isPackage = kind.isDirectory && hasPackageExtension(path);
  return kind;
}

}  // namespace tessaro::platform
