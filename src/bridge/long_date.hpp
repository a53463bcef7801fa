// The "ldt " date-time layout: a signed 64-bit count of whole seconds since
// 1904-01-01 00:00:00 in the machine's byte order. Host dates count seconds
// since 2001-01-01 00:00:00; the two epochs are 3061152000 seconds apart.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>

#include "tessaro/descriptor.hpp"

namespace tessaro {

inline constexpr std::int64_t kLongDateEpochOffset = 3061152000;

// Seconds since 2001 of an "ldt " payload. The whole payload is copied into
// the integer (at most its 8 bytes; a shorter one fills the low bytes).
inline double dateFromLongDatePayload(std::string_view payload) noexcept {
  std::int64_t seconds = 0;
  std::memcpy(&seconds, payload.data(), payload.size() < 8 ? payload.size() : 8);
  // In doubles: the subtraction must not overflow for payloads near the
  // 64-bit minimum.
  return double(seconds) - double(kLongDateEpochOffset);
}

// An "ldt " descriptor for a date: whole seconds, truncated toward zero.
inline Descriptor longDateFromDate(double secondsSince2001) {
  double total = std::trunc(secondsSince2001) + double(kLongDateEpochOffset);
  std::int64_t seconds = 0;
  if (std::isnan(total)) {
    seconds = 0;
  } else if (total >= 9.2233720368547758e18) {
    seconds = std::numeric_limits<std::int64_t>::max();
  } else if (total <= -9.2233720368547758e18) {
    seconds = std::numeric_limits<std::int64_t>::min();
  } else {
    seconds = std::int64_t(total);
  }
  return Descriptor::fromInt64(codes::longDateTime, seconds);
}

}  // namespace tessaro
