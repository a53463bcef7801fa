// File reference coercion and URL string checks (see file_references.hpp).
#include "platform/file_references.hpp"

namespace tessaro::platform {

std::optional<std::string> coerceToFileURL(const Descriptor& descriptor) {
  if (descriptor.type() == codes::fileURL) return std::string(descriptor.data());
  // "alis" and "bmrk" payloads are resolved by the host's file system on the
  // system that wrote them; their format is not decoded here. A resolver
  // that reads the bookmark layout would return the file URL of the item it
  // names from this branch.
  return std::nullopt;
}

namespace {

bool isAlpha(char c) noexcept { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }
bool isHexDigit(char c) noexcept { return isDigit(c) || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f'); }

// Characters that may stand unescaped anywhere after the scheme (square
// brackets and '%' are checked separately).
bool isURLCharacter(char c) noexcept {
  if (isAlpha(c) || isDigit(c)) return true;
  switch (c) {
    case '-': case '.': case '_': case '~':                       // unreserved
    case ':': case '/': case '?': case '#': case '@':             // general delimiters
    case '!': case '$': case '&': case '\'': case '(': case ')':  // sub-delimiters
    case '*': case '+': case ',': case ';': case '=':
      return true;
    default:
      return false;
  }
}

}  // namespace

bool isValidURLString(std::string_view text) noexcept {
  // scheme = ALPHA *( ALPHA / DIGIT / "+" / "-" / "." ), then ':'.
  std::size_t i = 0;
  if (text.empty() || !isAlpha(text[0])) return false;
  while (i < text.size() && (isAlpha(text[i]) || isDigit(text[i]) || text[i] == '+' || text[i] == '-' || text[i] == '.'))
    ++i;
  if (i == text.size() || text[i] != ':') return false;
  ++i;

  // The authority, when present, runs from "//" to the next '/', '?' or '#';
  // only there may an IP literal in square brackets appear.
  std::size_t authorityEnd = i;
  if (text.substr(i, 2) == "//") {
    authorityEnd = text.find_first_of("/?#", i + 2);
    if (authorityEnd == std::string_view::npos) authorityEnd = text.size();
  }

  bool inFragment = false;
  for (; i < text.size(); ++i) {
    char c = text[i];
    if (c == '%') {
      if (i + 2 >= text.size() || !isHexDigit(text[i + 1]) || !isHexDigit(text[i + 2])) return false;
      i += 2;
    } else if (c == '[' || c == ']') {
      if (i >= authorityEnd) return false;
    } else if (c == '#') {
      if (inFragment) return false;
      inFragment = true;
    } else if (!isURLCharacter(c)) {
      return false;
    }
  }
  return true;
}

}  // namespace tessaro::platform
