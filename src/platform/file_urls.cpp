// File URLs from paths and paths from file URLs.
//
// A path becomes "file://" followed by the absolute path, each byte outside
// the characters a URL path may carry written as %XX. The path is otherwise
// kept as given: "." and ".." components and doubled slashes stay, so that
// converting back gives the same path.
#include <optional>
#include <string>

#include "platform/ascii_case.hpp"
#include "platform/current_folder.hpp"
#include "platform/file_paths.hpp"

namespace tessaro::platform {
namespace {

constexpr std::string_view kScheme = "file:";

bool isPathAllowed(unsigned char c) noexcept {
  if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) return true;
  switch (c) {
    case '-': case '.': case '_': case '~':
    case '!': case '$': case '&': case '\'': case '(': case ')': case '*': case '+': case ',':
    case ';': case '=': case ':': case '@': case '/':
      return true;
    default:
      return false;
  }
}

void appendEscaped(std::string& out, std::string_view path) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  for (char ch : path) {
    auto c = static_cast<unsigned char>(ch);
    if (isPathAllowed(c)) {
      out.push_back(ch);
    } else {
      out.push_back('%');
      out.push_back(kHex[c >> 4]);
      out.push_back(kHex[c & 0x0F]);
    }
  }
}

int hexValue(char c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

// Decodes %XX escapes; a malformed escape, or one giving a NUL byte (which no
// file-system path can hold), makes the whole text unusable.
std::optional<std::string> percentDecoded(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      out.push_back(text[i]);
      continue;
    }
    if (i + 2 >= text.size()) return std::nullopt;
    int high = hexValue(text[i + 1]);
    int low = hexValue(text[i + 2]);
    if (high < 0 || low < 0 || (high == 0 && low == 0)) return std::nullopt;
    out.push_back(static_cast<char>(high * 16 + low));
    i += 2;
  }
  return out;
}

}  // namespace

std::string fileURLFromPath(std::string_view path, bool isDirectory) {
  std::string absolute = absolutePath(path);
  std::string url(kScheme);
  url.append("//");
  url.reserve(url.size() + absolute.size() + 1);
  appendEscaped(url, absolute);
  if (isDirectory && url.back() != '/') url.push_back('/');
  return url;
}

std::string fileURLFromPath(std::string_view path) {
  std::string absolute = absolutePath(path);
  bool isDirectory = absolute.back() == '/';
  if (!isDirectory) {
    // A link to a folder makes a folder URL, as the folder itself would.
    std::optional<ItemKind> kind = readItemKind(absolute, true);
    isDirectory = kind && kind->isDirectory;
  }
  return fileURLFromPath(absolute, isDirectory);
}

bool isFileURL(std::string_view url) noexcept {
  return url.size() >= kScheme.size() && equalsIgnoringASCIICase(url.substr(0, kScheme.size()), kScheme);
}

std::optional<std::string> pathFromFileURL(std::string_view url) {
  if (!isFileURL(url)) return std::nullopt;
  std::string_view rest = url.substr(kScheme.size());
  // The query and the fragment are not part of the path.
  rest = rest.substr(0, rest.find_first_of("?#"));

  if (rest.substr(0, 2) == "//") {
    rest.remove_prefix(2);
    std::size_t pathStart = rest.find('/');
    std::string_view host = rest.substr(0, pathStart);
    // Only this machine's files can be named by a path.
    if (!host.empty() && !equalsIgnoringASCIICase(host, "localhost")) return std::nullopt;
    rest = pathStart == std::string_view::npos ? std::string_view{} : rest.substr(pathStart);
  }
  if (rest.empty() || rest.front() != '/') return std::nullopt;

  std::optional<std::string> path = percentDecoded(rest);
  if (!path) return std::nullopt;
  while (path->size() > 1 && path->back() == '/') path->pop_back();
  return path;
}

}  // namespace tessaro::platform
