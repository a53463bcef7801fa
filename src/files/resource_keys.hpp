// Resource keys: the attribute names scripts pass ("NSURLIsDirectoryKey" …)
// and the reader that answers each from what Linux keeps about an item.
// See the README's table for what each key reads.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_attributes.hpp"
#include "tessaro/value.hpp"

namespace tessaro::files {

enum class ResourceKey : std::uint8_t {
  unknown,  // a name the library does not know: never has a value
  path,
  name,
  localizedName,
  isDirectory,
  isPackage,
  isRegularFile,
  isSymbolicLink,
  isAliasFile,
  isHidden,
  isVolume,
  isReadable,
  isWritable,
  isExecutable,
  isSystemImmutable,
  isUserImmutable,
  isExcludedFromBackup,
  hasHiddenExtension,
  fileResourceType,
  fileSize,
  fileAllocatedSize,
  totalFileSize,
  totalFileAllocatedSize,
  linkCount,
  preferredIOBlockSize,
  creationDate,
  contentModificationDate,
  attributeModificationDate,
  contentAccessDate,
  parentDirectoryURL,
  canonicalPath,
  tagNames,
  labelNumber,
  fileResourceIdentifier,
  volumeIdentifier,
  typeIdentifier,
  localizedTypeDescription,
};

// The key a name stands for; unknown for any other string or non-string.
ResourceKey resourceKeyNamed(const Value& name);
// Every name the table knows, in table order.
std::span<const std::u16string_view> resourceKeyNames() noexcept;

inline constexpr std::u16string_view kPathKey = u"NSURLPathKey";
inline constexpr std::u16string_view kIsDirectoryKey = u"NSURLIsDirectoryKey";
inline constexpr std::u16string_view kIsPackageKey = u"NSURLIsPackageKey";
inline constexpr std::u16string_view kTotalFileSizeKey = u"NSURLTotalFileSizeKey";
inline constexpr std::u16string_view kTotalFileAllocatedSizeKey = u"NSURLTotalFileAllocatedSizeKey";

// One item whose attributes are read on demand: the status is read once, at
// the first key that needs it, and not at all for keys that its path or its
// directory entry already answer.
class ItemAttributes {
 public:
  // `entryType` is the directory entry's DT_* type when the item came from
  // a folder walk (the item is then known to exist), DT_UNKNOWN otherwise.
  explicit ItemAttributes(std::string path, unsigned char entryType = 0);

  // Whether the item can be read at all (it exists).
  bool readable();
  // The key's value: nothing when the item has no such attribute (or the
  // key is unknown); no value at all when the item cannot be read.
  std::optional<Value> get(ResourceKey key);
  const std::string& path() const noexcept { return path_; }

 private:
  const platform::FileStatus* status();
  std::optional<bool> isDirectory();

  std::string path_;
  unsigned char entryType_;
  bool statusRead_ = false;
  std::optional<platform::FileStatus> status_;
};

// The record of the given keys for one item, keyed by the keys' own strings;
// no value when the item cannot be read.
std::optional<Record> resourceRecord(ItemAttributes& item, std::span<const Value> keyNames,
                                     std::span<const ResourceKey> keys);

}  // namespace tessaro::files
