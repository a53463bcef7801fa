// One-shot queries about a single file: its attributes under short names,
// its size (summed over the contents of a folder), the properties of the
// first image in an image file, and the type identifier of an extension.
#include <array>

#include "files/file_arguments.hpp"
#include "files/type_identifiers.hpp"
#include "platform/image_properties.hpp"
#include "registry/subsystems.hpp"
#include "tessaro/registry.hpp"

namespace tessaro {
namespace {

// Asked for in this order; the record's keys are trimmed afterwards.
constexpr std::array<std::u16string_view, 28> kInfoKeys = {
    u"NSURLAttributeModificationDateKey", u"NSURLContentAccessDateKey",  u"NSURLContentModificationDateKey",
    u"NSURLCreationDateKey",              u"NSURLFileResourceTypeKey",   u"NSURLHasHiddenExtensionKey",
    u"NSURLIsDirectoryKey",               u"NSURLIsExcludedFromBackupKey", u"NSURLIsExecutableKey",
    u"NSURLIsHiddenKey",                  u"NSURLIsPackageKey",          u"NSURLIsReadableKey",
    u"NSURLIsRegularFileKey",             u"NSURLIsSymbolicLinkKey",     u"NSURLIsSystemImmutableKey",
    u"NSURLIsUserImmutableKey",           u"NSURLIsWritableKey",         u"NSURLLabelColorKey",
    u"NSURLLabelNumberKey",               u"NSURLLinkCountKey",          u"NSURLLocalizedLabelKey",
    u"NSURLLocalizedNameKey",             u"NSURLLocalizedTypeDescriptionKey", u"NSURLNameKey",
    u"NSURLParentDirectoryURLKey",        u"NSURLPathKey",               u"NSURLTagNamesKey",
    u"NSURLIsAliasFileKey",
};

constexpr std::array<std::u16string_view, 4> kSizeKeys = {
    u"NSURLFileSizeKey", u"NSURLFileAllocatedSizeKey", u"NSURLTotalFileAllocatedSizeKey", u"NSURLTotalFileSizeKey"};

// The record of `names` for the item at `path`; no value when it cannot be read.
template <std::size_t N>
Value recordOf(const std::string& path, const std::array<std::u16string_view, N>& names) {
  std::vector<Value> keys;
  for (std::u16string_view name : names) keys.push_back(Value::string(name));
  files::ItemAttributes item(path);
  std::optional<Record> record = files::resourceRecord(item, keys, files::resolveKeys(keys));
  return record ? Value::record(std::move(*record)) : Value();
}

}  // namespace

Value KRVForder::infoForFile_(const Value& file) {
  std::optional<std::string> path = files::pathFromReference(file);
  return KRV_trimNSURLKeysInDictionary_(path ? recordOf(*path, kInfoKeys) : Value());
}

Value KRVForder::sizeInfoForFile_(const Value& file) {
  std::optional<std::string> path = files::pathFromReference(file);
  if (!path) return KRV_trimNSURLKeysInDictionary_(Value());
  // Only the directory flag decides: a package is summed like any folder.
  files::ItemAttributes item(*path);
  std::optional<Value> directory = item.get(files::ResourceKey::isDirectory);
  item.get(files::ResourceKey::isPackage);
  if (directory && directory->kind() == ValueKind::boolean && directory->asBoolean())
    return KRV_trimNSURLKeysInDictionary_(KRV_folderSizeOfURL_(file));
  return KRV_trimNSURLKeysInDictionary_(recordOf(*path, kSizeKeys));
}

Value KRVForder::metadataFromImage_error_(const Value& image, CommandError* error) {
  std::optional<std::string> path = files::pathFromReference(image);
  if (!path) {
    fail(error, "No such file found.");
    return Value();
  }
  platform::ImageRead read = platform::readImageProperties(*path);
  switch (read.status) {
    case platform::ImageReadStatus::unreadable:
      fail(error, "Image could not be read.");
      return Value();
    case platform::ImageReadStatus::noProperties:
      fail(error, "No metadata found.");
      return Value();
    case platform::ImageReadStatus::ok:
      break;
  }
  return read.properties;
}

Value KRVForder::UTIForExtension_(const Value& extension) {
  if (extension.isNothing()) return Value();
  if (!extension.isString()) doesNotAnswer(extension, "hasPrefix:");
  std::u16string_view text = extension.asString();
  // Only one leading dot goes: "..jpg" asks about ".jpg".
  if (!text.empty() && text.front() == u'.') text.remove_prefix(1);
  return Value::fromUtf8(files::typeIdentifierForExtension(Value::string(text).toUtf8()));
}

void registerFileInfoCommands(Registry& r) {
  r.add<&KRVForder::infoForFile_>("infoForFile:");
  r.add<&KRVForder::sizeInfoForFile_>("sizeInfoForFile:");
  r.add<&KRVForder::metadataFromImage_error_>("metadataFromImage:error:");
  r.add<&KRVForder::UTIForExtension_>("UTIForExtension:");
}

}  // namespace tessaro
