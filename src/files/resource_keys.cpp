// The resource-key table and the attribute reader behind it.
#include "files/resource_keys.hpp"

#include <array>
#include <climits>
#include <cstdlib>
#include <dirent.h>
#include <sys/stat.h>
#include <utility>

#include "files/type_identifiers.hpp"
#include "platform/file_paths.hpp"

namespace tessaro::files {
namespace {

using Named = std::pair<std::u16string_view, ResourceKey>;
constexpr std::array kTable = {
    Named{u"NSURLPathKey", ResourceKey::path},
    Named{u"NSURLNameKey", ResourceKey::name},
    Named{u"NSURLLocalizedNameKey", ResourceKey::localizedName},
    Named{u"NSURLIsDirectoryKey", ResourceKey::isDirectory},
    Named{u"NSURLIsPackageKey", ResourceKey::isPackage},
    Named{u"NSURLIsRegularFileKey", ResourceKey::isRegularFile},
    Named{u"NSURLIsSymbolicLinkKey", ResourceKey::isSymbolicLink},
    Named{u"NSURLIsAliasFileKey", ResourceKey::isAliasFile},
    Named{u"NSURLIsHiddenKey", ResourceKey::isHidden},
    Named{u"NSURLIsVolumeKey", ResourceKey::isVolume},
    Named{u"NSURLIsReadableKey", ResourceKey::isReadable},
    Named{u"NSURLIsWritableKey", ResourceKey::isWritable},
    Named{u"NSURLIsExecutableKey", ResourceKey::isExecutable},
    Named{u"NSURLIsSystemImmutableKey", ResourceKey::isSystemImmutable},
    Named{u"NSURLIsUserImmutableKey", ResourceKey::isUserImmutable},
    Named{u"NSURLIsExcludedFromBackupKey", ResourceKey::isExcludedFromBackup},
    Named{u"NSURLHasHiddenExtensionKey", ResourceKey::hasHiddenExtension},
    Named{u"NSURLFileResourceTypeKey", ResourceKey::fileResourceType},
    Named{u"NSURLFileSizeKey", ResourceKey::fileSize},
    Named{u"NSURLFileAllocatedSizeKey", ResourceKey::fileAllocatedSize},
    Named{u"NSURLTotalFileSizeKey", ResourceKey::totalFileSize},
    Named{u"NSURLTotalFileAllocatedSizeKey", ResourceKey::totalFileAllocatedSize},
    Named{u"NSURLLinkCountKey", ResourceKey::linkCount},
    Named{u"NSURLPreferredIOBlockSizeKey", ResourceKey::preferredIOBlockSize},
    Named{u"NSURLCreationDateKey", ResourceKey::creationDate},
    Named{u"NSURLContentModificationDateKey", ResourceKey::contentModificationDate},
    Named{u"NSURLAttributeModificationDateKey", ResourceKey::attributeModificationDate},
    Named{u"NSURLContentAccessDateKey", ResourceKey::contentAccessDate},
    Named{u"NSURLParentDirectoryURLKey", ResourceKey::parentDirectoryURL},
    Named{u"NSURLCanonicalPathKey", ResourceKey::canonicalPath},
    Named{u"NSURLTagNamesKey", ResourceKey::tagNames},
    Named{u"NSURLLabelNumberKey", ResourceKey::labelNumber},
    Named{u"NSURLFileResourceIdentifierKey", ResourceKey::fileResourceIdentifier},
    Named{u"NSURLVolumeIdentifierKey", ResourceKey::volumeIdentifier},
    Named{u"NSURLTypeIdentifierKey", ResourceKey::typeIdentifier},
    Named{u"NSURLLocalizedTypeDescriptionKey", ResourceKey::localizedTypeDescription},
};

constexpr std::array<std::u16string_view, kTable.size()> kNames = [] {
  std::array<std::u16string_view, kTable.size()> names{};
  for (std::size_t i = 0; i < kTable.size(); ++i) names[i] = kTable[i].first;
  return names;
}();

constexpr double kReferenceDateUnixSeconds = 978307200.0;  // 2001-01-01 00:00:00 UTC
Value dateFromUnix(double seconds) { return Value::date(seconds - kReferenceDateUnixSeconds); }

Value integer(std::uint64_t n) { return Value::integer(std::int64_t(n)); }

// The values of the file-resource-type attribute, as the host names them.
std::string_view resourceTypeName(std::uint32_t mode) {
  if (S_ISREG(mode)) return "NSFileTypeRegular";
  if (S_ISDIR(mode)) return "NSFileTypeDirectory";
  if (S_ISLNK(mode)) return "NSFileTypeSymbolicLink";
  if (S_ISCHR(mode)) return "NSFileTypeCharacterSpecial";
  if (S_ISBLK(mode)) return "NSFileTypeBlockSpecial";
  if (S_ISFIFO(mode)) return "NSFileTypeNamedPipe";
  if (S_ISSOCK(mode)) return "NSFileTypeSocket";
  return "NSFileTypeUnknown";
}

// The extension of a path's last component ("" when it has none; a name
// that only starts with a dot has none).
std::string_view extensionOf(std::string_view path) {
  std::string_view name = platform::lastPathComponent(path);
  std::size_t dot = name.rfind('.');
  return dot == std::string_view::npos || dot == 0 ? std::string_view() : name.substr(dot + 1);
}

// The item's type: links, folders and volumes by what they are, files and
// packages by their extension.
std::string typeIdentifierOf(const std::string& path, const platform::FileStatus& s) {
  if (S_ISLNK(s.mode)) return "public.symlink";
  if (S_ISDIR(s.mode)) {
    if (s.mountRoot || path == "/") return "public.volume";
    if (!platform::hasPackageExtension(path)) return "public.folder";
    return typeIdentifierForExtension(extensionOf(path));
  }
  if (!S_ISREG(s.mode)) return "public.item";
  std::string_view extension = extensionOf(path);
  return extension.empty() ? "public.data" : typeIdentifierForExtension(extension);
}

std::string typeDescriptionOf(const std::string& path, const platform::FileStatus& s) {
  if (S_ISLNK(s.mode)) return "Alias";
  if (S_ISDIR(s.mode)) {
    if (s.mountRoot || path == "/") return "Volume";
    if (!platform::hasPackageExtension(path)) return "Folder";
    return declaredTypeForExtension(extensionOf(path)) ? typeDescription(extensionOf(path)) : "Package";
  }
  return typeDescription(extensionOf(path));
}

}  // namespace

ResourceKey resourceKeyNamed(const Value& name) {
  if (!name.isString()) return ResourceKey::unknown;
  const std::u16string_view text = name.asString();
  for (const Named& entry : kTable)
    if (entry.first == text) return entry.second;
  return ResourceKey::unknown;
}

std::span<const std::u16string_view> resourceKeyNames() noexcept { return kNames; }

ItemAttributes::ItemAttributes(std::string path, unsigned char entryType)
    : path_(std::move(path)), entryType_(entryType) {}

const platform::FileStatus* ItemAttributes::status() {
  if (!statusRead_) {
    statusRead_ = true;
    status_ = platform::readFileStatus(path_);
  }
  return status_ ? &*status_ : nullptr;
}

bool ItemAttributes::readable() { return entryType_ != DT_UNKNOWN || status() != nullptr; }

std::optional<bool> ItemAttributes::isDirectory() {
  if (entryType_ != DT_UNKNOWN) return entryType_ == DT_DIR;
  if (const platform::FileStatus* s = status()) return S_ISDIR(s->mode);
  return std::nullopt;
}

std::optional<Value> ItemAttributes::get(ResourceKey key) {
  if (!readable()) return std::nullopt;
  switch (key) {
    case ResourceKey::unknown:
      return Value();
    case ResourceKey::path:
      return Value::fromUtf8(path_);
    case ResourceKey::name:
    case ResourceKey::localizedName:
      return Value::fromUtf8(platform::lastPathComponent(path_));
    case ResourceKey::isDirectory:
      return Value::boolean(*isDirectory());
    case ResourceKey::isPackage:
      return Value::boolean(*isDirectory() && platform::hasPackageExtension(path_));
    case ResourceKey::isHidden:
      return Value::boolean(platform::isHiddenItem(path_));
    // Nothing on Linux hides extensions or keeps items out of backups.
    case ResourceKey::hasHiddenExtension:
    case ResourceKey::isExcludedFromBackup:
      return Value::boolean(false);
    // Access is decided by the kernel for this process, links followed.
    case ResourceKey::isReadable:
      return Value::boolean(platform::canRead(path_));
    case ResourceKey::isWritable:
      return Value::boolean(platform::canWrite(path_));
    case ResourceKey::isExecutable:
      return Value::boolean(platform::canExecute(path_));
    case ResourceKey::parentDirectoryURL:
      if (path_ == "/") return Value();
      return Value::url(platform::fileURLFromPath(platform::parentOfPath(path_), true));
    case ResourceKey::canonicalPath: {
      char* resolved = ::realpath(path_.c_str(), nullptr);
      if (resolved == nullptr) return Value();
      Value value = Value::fromUtf8(resolved);
      std::free(resolved);
      return value;
    }
    case ResourceKey::tagNames: {
      std::optional<std::vector<std::string>> tags = platform::readTagNames(path_);
      if (!tags) return Value();
      std::vector<Value> names;
      for (const std::string& tag : *tags) names.push_back(Value::fromUtf8(tag));
      return Value::list(std::move(names));
    }
    // No colour labels on Linux: every item has the "none" label.
    case ResourceKey::labelNumber:
      return Value::integer(0);
    default:
      break;
  }

  const platform::FileStatus* s = status();
  if (s == nullptr) return std::nullopt;
  const bool directory = S_ISDIR(s->mode);
  switch (key) {
    case ResourceKey::isRegularFile:
      return Value::boolean(S_ISREG(s->mode));
    // A symbolic link is this platform's alias file.
    case ResourceKey::isSymbolicLink:
    case ResourceKey::isAliasFile:
      return Value::boolean(S_ISLNK(s->mode));
    case ResourceKey::isVolume:
      return Value::boolean(s->mountRoot || path_ == "/");
    // Linux has one immutable flag, which only the administrator may set, like
    // the host's system flag; nothing stands for the owner's own flag.
    case ResourceKey::isSystemImmutable:
      return Value::boolean(s->immutable);
    case ResourceKey::isUserImmutable:
      return Value::boolean(false);
    case ResourceKey::fileResourceType:
      return Value::fromUtf8(resourceTypeName(s->mode));
    // Folders have no size of their own; their sums are the folder-size
    // operation's business.
    case ResourceKey::fileSize:
    case ResourceKey::totalFileSize:
      return directory ? Value() : integer(s->size);
    case ResourceKey::fileAllocatedSize:
    case ResourceKey::totalFileAllocatedSize:
      return directory ? Value() : integer(s->allocatedSize);
    case ResourceKey::linkCount:
      return integer(s->linkCount);
    case ResourceKey::preferredIOBlockSize:
      return integer(s->preferredBlockSize);
    case ResourceKey::creationDate:
      return s->birthTime ? dateFromUnix(*s->birthTime) : Value();
    case ResourceKey::contentModificationDate:
      return dateFromUnix(s->modificationTime);
    case ResourceKey::attributeModificationDate:
      return dateFromUnix(s->statusChangeTime);
    case ResourceKey::contentAccessDate:
      return dateFromUnix(s->accessTime);
    case ResourceKey::fileResourceIdentifier:
      return integer(s->inode);
    case ResourceKey::volumeIdentifier:
      return integer(s->device);
    case ResourceKey::typeIdentifier:
      return Value::fromUtf8(typeIdentifierOf(path_, *s));
    case ResourceKey::localizedTypeDescription:
      return Value::fromUtf8(typeDescriptionOf(path_, *s));
    default:
      return Value();
  }
}

std::optional<Record> resourceRecord(ItemAttributes& item, std::span<const Value> keyNames,
                                     std::span<const ResourceKey> keys) {
  if (!item.readable()) return std::nullopt;
  Record record;
  record.reserve(keys.size());
  for (std::size_t i = 0; i < keys.size(); ++i) {
    std::optional<Value> value = item.get(keys[i]);
    if (!value) return std::nullopt;
    if (value->isNothing()) continue;
    // A key the script repeated is answered once.
    if (keyNames[i].isString()) record.set(keyNames[i], std::move(*value));
  }
  return record;
}

}  // namespace tessaro::files
