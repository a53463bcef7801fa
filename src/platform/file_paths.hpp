// File-system paths, file URLs and HFS paths on Linux.
//
// Paths are UTF-8 byte strings. HFS paths name a volume first and separate
// components with ':'; the startup volume's name and the folder under which
// other volumes are mounted come from the environment variables
// TESSARO_STARTUP_VOLUME and TESSARO_VOLUMES_DIR (see the README).
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tessaro::platform {

// Expands a leading "~" (the user's home folder: $HOME, or the password
// database's entry for the current user when $HOME is unset or empty) or
// "~user" (that user's home folder, from the password database). A path
// naming an unknown user, or not starting with "~", is returned unchanged.
std::string expandTilde(std::string_view path);

// The absolute string of a file URL for `path` ("file:///tmp/a%20b"). Every
// byte outside A-Z a-z 0-9 - . _ ~ ! $ & ' ( ) * + , ; = : @ / is written as
// %XX (upper-case hex). A relative path is taken from the current folder; an
// empty path names the current folder. Nothing else is tidied: "..", "." and
// doubled slashes stay as given, so pathFromFileURL gives the path back.
// The URL ends with "/" when the path ends with "/" or names an existing
// folder (symbolic links followed).
std::string fileURLFromPath(std::string_view path);
// The same, but whether the item is a folder is given rather than looked up.
// A path ending with "/" keeps its "/" either way.
std::string fileURLFromPath(std::string_view path, bool isDirectory);

// Whether the URL's scheme is "file", in any case.
bool isFileURL(std::string_view url) noexcept;
// The file-system path of a file URL, percent-escapes decoded, without a
// trailing "/" (except for the root). Query and fragment are ignored, and so
// is a host of "localhost". No value when `url` is not a file URL, names
// another host, has no absolute path, or has a malformed or NUL escape.
std::optional<std::string> pathFromFileURL(std::string_view url);

// The startup volume's name and the folder under which other volumes are
// mounted, from the environment (read at each call; an empty value counts
// as unset) or their defaults, "System" and "/media".
std::string startupVolumeName();
std::string volumesFolder();

// The HFS form of an absolute path, with no trailing ':'. A path inside the
// volumes folder names that volume ("/media/Disk/a" gives "Disk:a"); any
// other path, the volumes folder included, lies on the startup volume
// ("/tmp/a:b" gives "System:tmp:a/b", "/" gives "System"). Doubled slashes
// and "." are dropped and ".." is resolved by name first, since HFS paths
// cannot express them. No value for a relative or empty path.
std::optional<std::string> hfsPathFromPath(std::string_view path);
// The absolute path that an HFS path names, without a trailing "/": the
// startup volume is the root, any other volume a folder in the volumes
// folder. A leading ':' (or an empty string) starts from the current folder;
// each further empty component ("::") goes up one folder, never above the
// volume's root. A trailing ':' is dropped.
std::string pathFromHFSPath(std::string_view hfsPath);

// The extensions (lower case, without the dot) that make a folder a package
// presented as one item: "app", "bundle", "framework", "rtfd", …
std::span<const std::string_view> packageExtensions() noexcept;
// Whether the last component of a name or path carries one of those
// extensions, in any ASCII case. A name starting with its only dot (".app")
// has no extension.
bool hasPackageExtension(std::string_view name) noexcept;

struct ItemKind {
  bool isDirectory = false;
  bool isPackage = false;  // a folder with a package extension
};
// Reads what the item at `path` itself is (unless `followLinks`, a symbolic
// link is not followed, so it is neither a folder nor a package); no value when
// it cannot be read, for instance when it does not exist.
std::optional<ItemKind> readItemKind(std::string_view path, bool followLinks = false);

}  // namespace tessaro::platform
