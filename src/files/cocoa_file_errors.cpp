// errno to the host's file error codes, and their messages.
#include "files/cocoa_file_errors.hpp"

#include <cerrno>
#include <cstring>
#include <string>

#include "platform/file_attributes.hpp"

namespace tessaro::files {
namespace {

// The host's codes.
constexpr std::int64_t kNoSuchFile = 4;             // a folder on the way is missing
constexpr std::int64_t kReadUnknown = 256;
constexpr std::int64_t kReadNoPermission = 257;
constexpr std::int64_t kReadNoSuchFile = 260;
constexpr std::int64_t kReadTooLarge = 263;
constexpr std::int64_t kWriteUnknown = 512;
constexpr std::int64_t kWriteNoPermission = 513;
constexpr std::int64_t kWriteInvalidFileName = 514;
constexpr std::int64_t kWriteOutOfSpace = 640;
constexpr std::int64_t kWriteVolumeReadOnly = 642;

}  // namespace

std::int64_t cocoaErrorCode(const platform::ItemFailure& failure) noexcept {
  switch (failure.error) {
    case EEXIST:
    case ENOTEMPTY:
      return kFileExistsCode;
    case ENOENT:
      return failure.writing ? kNoSuchFile : kReadNoSuchFile;
    case EACCES:
    case EPERM:
      return failure.writing ? kWriteNoPermission : kReadNoPermission;
    case ENOSPC:
    case EDQUOT:
      return kWriteOutOfSpace;
    case EROFS:
      return kWriteVolumeReadOnly;
    case ENAMETOOLONG:
    case EILSEQ:
      return kWriteInvalidFileName;
    case EFBIG:
      return failure.writing ? kWriteOutOfSpace : kReadTooLarge;
    default:
      return failure.writing ? kWriteUnknown : kReadUnknown;
  }
}

CommandError cocoaFileError(const platform::ItemFailure& failure, std::string_view verb) {
  const std::string name(platform::lastPathComponent(failure.path));
  const std::string quoted = "\u201C" + name + "\u201D";
  const std::string couldNot = quoted + " couldn\u2019t be " + std::string(verb);
  const std::int64_t code = cocoaErrorCode(failure);
  std::string message;
  switch (code) {
    case kFileExistsCode:
      message = couldNot + " because an item with the same name already exists.";
      break;
    case kNoSuchFile:
      message = couldNot + " because the folder it is to go in doesn\u2019t exist.";
      break;
    case kReadNoSuchFile:
      message = "The file " + quoted + " couldn\u2019t be opened because there is no such file.";
      break;
    case kReadNoPermission:
      message = "The file " + quoted + " couldn\u2019t be opened because you don\u2019t have permission to view it.";
      break;
    case kWriteNoPermission:
      message = couldNot + " because you don\u2019t have permission to access it.";
      break;
    case kWriteOutOfSpace:
      message = couldNot + " because there isn\u2019t enough space.";
      break;
    case kWriteVolumeReadOnly:
      message = couldNot + " because the volume is read only.";
      break;
    case kWriteInvalidFileName:
      message = couldNot + " because its name is not valid.";
      break;
    default:
      message = couldNot + ": " + std::strerror(failure.error) + ".";
      break;
  }
  return CommandError{std::string(kCocoaErrorDomain), code, std::move(message)};
}

}  // namespace tessaro::files
