// Case-insensitive comparison of ASCII letters, for URL schemes, host names
// and filename extensions (bytes outside ASCII compare exactly).
#pragma once

#include <string_view>

namespace tessaro::platform {

constexpr char asciiLower(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr bool equalsIgnoringASCIICase(std::string_view a, std::string_view b) noexcept {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (asciiLower(a[i]) != asciiLower(b[i])) return false;
  return true;
}

}  // namespace tessaro::platform
