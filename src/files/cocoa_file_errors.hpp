// The platform's own errors for failed copies and moves: the host's
// "NSCocoaErrorDomain" codes, chosen from the errno behind each failure, with
// a plain English message naming the item.
#pragma once

#include <cstdint>

#include "platform/item_copy.hpp"
#include "tessaro/errors.hpp"

namespace tessaro::files {

inline constexpr std::string_view kCocoaErrorDomain = "NSCocoaErrorDomain";
inline constexpr std::int64_t kFileExistsCode = 516;

// The code for a failure, reading or writing.
std::int64_t cocoaErrorCode(const platform::ItemFailure& failure) noexcept;
// The whole error: domain, code and message. `verb` is "copied" or "moved".
CommandError cocoaFileError(const platform::ItemFailure& failure, std::string_view verb);

}  // namespace tessaro::files
