// Helpers for the file command tests: a sample tree on disk, and running a
// check as an unprivileged user (the administrator reads every folder, so an
// unreadable folder can only be seen by someone else).
#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "../platform/platform_test_support.hpp"
#include "tessaro/value.hpp"

namespace tessaro::files::testing {

using platform::testing::ScratchFolder;

inline void writeFile(const std::string& path, const std::string& content) {
  std::ofstream out(path, std::ios::binary);
  out << content;
}

inline std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary | std::ios::ate);
  std::string content(std::size_t(std::max<std::streamoff>(in.tellg(), 0)), '\0');
  in.seekg(0);
  in.read(content.data(), std::streamsize(content.size()));
  return content;
}

// root/
//   a.txt (5 bytes)   .dot   listed (named in .hidden)   .hidden
//   Sub/ b.txt  Deep/ c.txt
//   Tool.app/ Contents/ x
//   link -> Sub
inline void makeSampleTree(const std::string& root) {
  namespace fs = std::filesystem;
  writeFile(root + "/a.txt", "hello");
  writeFile(root + "/.dot", "");
  writeFile(root + "/listed", "");
  writeFile(root + "/.hidden", "listed\n");
  fs::create_directories(root + "/Sub/Deep");
  writeFile(root + "/Sub/b.txt", "bb");
  writeFile(root + "/Sub/Deep/c.txt", "ccc");
  fs::create_directories(root + "/Tool.app/Contents");
  writeFile(root + "/Tool.app/Contents/x", "xxxx");
  fs::create_directory_symlink("Sub", root + "/link");
}

// The strings of a list of strings, or the paths of a list of file urls,
// made relative to `root` and sorted (enumeration promises no order).
inline std::vector<std::string> relativeSorted(const Value& list, const std::string& root) {
  std::vector<std::string> out;
  if (!list.isList()) return {"<not a list>"};
  for (const Value& item : list.asList()) {
    std::string text = item.isUrl() ? std::string(item.asUrl()) : item.isString() ? item.toUtf8() : "<?>";
    const std::string prefix = item.isUrl() ? "file://" + root + "/" : root + "/";
    if (text.starts_with(prefix)) text = text.substr(prefix.size());
    out.push_back(text);
  }
  std::sort(out.begin(), out.end());
  return out;
}

// Runs `check` in a child process as the unprivileged user "nobody" (or as
// the present user when that is not the administrator); true when it passed.
inline bool passesUnprivileged(const std::function<bool()>& check) {
  pid_t child = ::fork();
  if (child == 0) {
    if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0)) ::_exit(3);
    ::_exit(check() ? 0 : 1);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// A fixture holding the sample tree in a fresh scratch folder.
class SampleTreeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(scratch.path().empty());
    root = scratch.path();
    makeSampleTree(root);
  }
  ScratchFolder scratch;
  std::string root;
};

}  // namespace tessaro::files::testing
