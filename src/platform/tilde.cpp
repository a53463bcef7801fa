// Expansion of "~" and "~user" at the start of a path, from $HOME and the
// password database.
#include <cerrno>
#include <cstdlib>
#include <optional>
#include <pwd.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "platform/file_paths.hpp"

namespace tessaro::platform {
namespace {

// Looks up one password-database entry with the re-entrant calls (commands
// may run on any thread), growing the string buffer while it is too small.
// `lookup` is getpwnam_r or getpwuid_r bound to its key.
template <typename Lookup>
std::optional<std::string> homeFromPasswordDatabase(Lookup lookup) {
  long suggested = ::sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> buffer(suggested > 0 ? static_cast<std::size_t>(suggested) : 1024);
  for (;;) {
    passwd entry{};
    passwd* found = nullptr;
    int status = lookup(&entry, buffer.data(), buffer.size(), &found);
    if (status == ERANGE && buffer.size() < (std::size_t{1} << 20)) {
      buffer.resize(buffer.size() * 2);
      continue;
    }
    if (status != 0 || found == nullptr || found->pw_dir == nullptr || found->pw_dir[0] == '\0')
      return std::nullopt;
    return std::string(found->pw_dir);
  }
}

std::optional<std::string> currentUsersHome() {
  const char* home = std::getenv("HOME");
  if (home != nullptr && home[0] != '\0') return std::string(home);
  uid_t uid = ::getuid();
  return homeFromPasswordDatabase([uid](passwd* entry, char* buf, std::size_t size, passwd** found) {
    return ::getpwuid_r(uid, entry, buf, size, found);
  });
}

std::optional<std::string> homeOfUser(const std::string& user) {
  return homeFromPasswordDatabase([&user](passwd* entry, char* buf, std::size_t size, passwd** found) {
    return ::getpwnam_r(user.c_str(), entry, buf, size, found);
  });
}

}  // namespace

std::string expandTilde(std::string_view path) {
  if (path.empty() || path.front() != '~') return std::string(path);
  std::size_t slash = path.find('/');
  std::string_view user = path.substr(1, slash == std::string_view::npos ? path.size() - 1 : slash - 1);
  std::string_view rest = slash == std::string_view::npos ? std::string_view{} : path.substr(slash);

  // A NUL byte cannot be part of a user name, and would cut the lookup short.
  if (user.find('\0') != std::string_view::npos) return std::string(path);
  std::optional<std::string> home = user.empty() ? currentUsersHome() : homeOfUser(std::string(user));
  if (!home) return std::string(path);

  // "/home/me/" + "/x" must not give a doubled slash; a home of "/" gives "/x".
  while (home->size() > 1 && home->back() == '/') home->pop_back();
  if (*home == "/" && !rest.empty()) home->clear();
  home->append(rest);
  return *home;
}

}  // namespace tessaro::platform
