// Copying and moving one item to a new path, optionally replacing an item
// already there; a replacing copy is made beside the destination and swapped
// in, so that a failed copy leaves the old item as it was.
#include "files/cocoa_file_errors.hpp"
#include "files/file_arguments.hpp"
#include "registry/subsystems.hpp"
#include "tessaro/registry.hpp"

namespace tessaro {
namespace {

// The argument errors are the library's own, under its bundle identifier.
constexpr std::int64_t kArgumentErrorCode = 10000;

bool transfer(const Value& source, const Value& destination, const Value& replace, CommandError* error, bool move) {
  std::optional<std::string> from = files::pathFromReference(source);
  if (!from) {
    fail(error, bundleIdentifier(), kArgumentErrorCode, "No such source item.");
    return false;
  }
  std::optional<std::string> to = files::pathFromReference(destination);
  if (!to) {
    fail(error, bundleIdentifier(), kArgumentErrorCode, "No such destination.");
    return false;
  }
  const std::string_view verb = move ? "moved" : "copied";
  std::optional<platform::ItemFailure> failure = move ? platform::moveItem(*from, *to) : platform::copyItem(*from, *to);
  if (!failure) return true;
  // Only an item already at the destination is replaced; any other failure
  // is reported as it stands.
  if (!replace.boolValue() || files::cocoaErrorCode(*failure) != files::kFileExistsCode) {
    if (error) *error = files::cocoaFileError(*failure, verb);
    return false;
  }
  std::optional<platform::ItemFailure> replaced = platform::replaceItem(*from, *to, move);
  if (!replaced) return true;
  // Without a scratch folder nothing was tried: the item already there is
  // still the reason the copy or move failed.
  if (error) *error = files::cocoaFileError(replaced->scratchFolder ? *failure : *replaced, verb);
  return false;
}

}  // namespace

bool KRVForder::copyItemAt_toItem_replace_error_(const Value& source, const Value& destination, const Value& replace,
                                                CommandError* error) {
  return transfer(source, destination, replace, error, false);
}

bool KRVForder::moveItemAt_toItem_replace_error_(const Value& source, const Value& destination, const Value& replace,
                                                CommandError* error) {
  return transfer(source, destination, replace, error, true);
}

void registerCopyMoveCommands(Registry& r) {
  r.add<&KRVForder::copyItemAt_toItem_replace_error_>("copyItemAt:toItem:replace:error:");
  r.add<&KRVForder::moveItemAt_toItem_replace_error_>("moveItemAt:toItem:replace:error:");
}

}  // namespace tessaro
