// Helpers for the platform tests: environment variables, a scratch folder
// and the current folder, each put back when the helper goes out of scope.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <optional>
#include <string>
#include <unistd.h>

namespace tessaro::platform::testing {

// Seconds since 1970 of a UTC wall-clock time, computed without ICU.
inline std::int64_t unixSeconds(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
  std::tm t{};
  t.tm_year = year - 1900;
  t.tm_mon = month - 1;
  t.tm_mday = day;
  t.tm_hour = hour;
  t.tm_min = minute;
  t.tm_sec = second;
  return std::int64_t(timegm(&t));
}

// Sets (or, given no value, unsets) an environment variable for one scope.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, std::optional<std::string> value) : name_(name) {
    if (const char* old = std::getenv(name)) previous_ = old;
    if (value) ::setenv(name, value->c_str(), 1);
    else ::unsetenv(name);
  }
  ~ScopedEnv() { restore(); }
  // Puts the old value back now rather than at the end of the scope.
  void restore() {
    if (previous_) ::setenv(name_.c_str(), previous_->c_str(), 1);
    else ::unsetenv(name_.c_str());
  }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  std::string name_;
  std::optional<std::string> previous_;
};

// A fresh folder under the temporary folder, removed with its contents.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "tessaro-platform-XXXXXX").string();
    // Resolved, so that it matches what getcwd() reports from inside it.
    if (::mkdtemp(pattern.data()) != nullptr) path_ = std::filesystem::canonical(pattern).string();
  }
  ~ScratchFolder() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  // Empty when the folder could not be made.
  const std::string& path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

// Makes `folder` the current folder for one scope.
class ScopedCurrentFolder {
 public:
  explicit ScopedCurrentFolder(const std::filesystem::path& folder)
      : previous_(std::filesystem::current_path()) {
    std::filesystem::current_path(folder);
  }
  ~ScopedCurrentFolder() {
    std::error_code ignored;
    std::filesystem::current_path(previous_, ignored);
  }
  ScopedCurrentFolder(const ScopedCurrentFolder&) = delete;
  ScopedCurrentFolder& operator=(const ScopedCurrentFolder&) = delete;

 private:
  std::filesystem::path previous_;
};

}  // namespace tessaro::platform::testing
