#include "bridge/unicode.hpp"

#include <unicode/ustring.h>

namespace tessaro {

std::u16string utf16FromUtf8(std::string_view utf8) {
  std::u16string out;
  if (utf8.empty()) return out;
  // UTF-16 never needs more code units than UTF-8 has bytes.
  out.resize(utf8.size());
  int32_t length = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8WithSub(out.data(), int32_t(out.size()), &length, utf8.data(), int32_t(utf8.size()), 0xFFFD,
                       nullptr, &status);
  out.resize(U_SUCCESS(status) ? std::size_t(length) : 0);
  return out;
}

std::optional<std::u16string> utf16FromValidUtf8(std::string_view utf8) {
  std::u16string out(utf8.size(), u'\0');
  int32_t length = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8(out.data(), int32_t(out.size()), &length, utf8.data(), int32_t(utf8.size()), &status);
  if (U_FAILURE(status)) return std::nullopt;
  out.resize(std::size_t(length));
  return out;
}

std::optional<std::size_t> utf16LengthOfValidUtf8(std::string_view utf8) {
  if (utf8.size() > std::size_t(INT32_MAX)) return std::nullopt;
  int32_t length = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8(nullptr, 0, &length, utf8.data(), int32_t(utf8.size()), &status);
  if (status != U_BUFFER_OVERFLOW_ERROR && U_FAILURE(status)) return std::nullopt;
  return std::size_t(length);
}

void convertValidUtf8(std::string_view utf8, char16_t* out, std::size_t length) {
  int32_t written = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8(out, int32_t(length), &written, utf8.data(), int32_t(utf8.size()), &status);
}

void appendUtf8(std::u16string_view utf16, std::string& out) {
  if (utf16.empty()) return;
  std::size_t start = out.size();
  int32_t length = 0;
  UErrorCode status = U_ZERO_ERROR;
  // A short text gets room for the worst case (three bytes a unit); a long
  // one is measured first, so that a large text is never held at three times
  // its size.
  std::size_t room = utf16.size() * 3;
  if (utf16.size() > (std::size_t(1) << 16)) {
    u_strToUTF8WithSub(nullptr, 0, &length, utf16.data(), int32_t(utf16.size()), 0xFFFD, nullptr, &status);
    if (status != U_BUFFER_OVERFLOW_ERROR && U_FAILURE(status)) return;
    room = std::size_t(length);
    status = U_ZERO_ERROR;
  }
  out.resize(start + room);
  u_strToUTF8WithSub(out.data() + start, int32_t(room), &length, utf16.data(), int32_t(utf16.size()), 0xFFFD, nullptr,
                     &status);
  out.resize(start + (U_SUCCESS(status) ? std::size_t(length) : 0));
}

std::string utf8FromUtf16(std::u16string_view utf16) {
  std::string out;
  appendUtf8(utf16, out);
  return out;
}

std::optional<std::string> utf8FromValidUtf16(std::u16string_view utf16) {
  std::string out(utf16.size() * 3, '\0');  // at most three bytes per code unit
  int32_t length = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strToUTF8(out.data(), int32_t(out.size()), &length, utf16.data(), int32_t(utf16.size()), &status);
  if (U_FAILURE(status)) return std::nullopt;
  out.resize(std::size_t(length));
  return out;
}

}  // namespace tessaro
