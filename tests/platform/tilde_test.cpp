#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include "platform/file_paths.hpp"
#include "platform_test_support.hpp"

namespace tessaro::platform {
namespace {

using testing::ScopedEnv;

TEST(ExpandTilde, CurrentUserFromHome) {
  ScopedEnv home("HOME", "/home/tester/");
  EXPECT_EQ(expandTilde("~"), "/home/tester");
  EXPECT_EQ(expandTilde("~/"), "/home/tester/");
  EXPECT_EQ(expandTilde("~/Desktop/a b"), "/home/tester/Desktop/a b");
  ScopedEnv root("HOME", "/");
  EXPECT_EQ(expandTilde("~"), "/");
  EXPECT_EQ(expandTilde("~/x"), "/x");
}

TEST(ExpandTilde, UnsetOrEmptyHomeFallsBackToPasswordDatabase) {
  const passwd* entry = ::getpwuid(::getuid());
  if (entry == nullptr || entry->pw_dir == nullptr || std::string(entry->pw_dir).size() < 2)
    GTEST_SKIP() << "no usable password entry for this user";
  std::string expected = entry->pw_dir;
  ScopedEnv unset("HOME", std::nullopt);
  EXPECT_EQ(expandTilde("~/x"), expected + "/x");
  ScopedEnv empty("HOME", "");
  EXPECT_EQ(expandTilde("~"), expected);
}

TEST(ExpandTilde, NamedUserFromPasswordDatabase) {
  const passwd* root = ::getpwnam("root");
  if (root == nullptr || root->pw_dir == nullptr || std::string(root->pw_dir).size() < 2)
    GTEST_SKIP() << "no usable root entry in the password database";
  // $HOME belongs to the current user only.
  ScopedEnv home("HOME", "/home/tester");
  EXPECT_EQ(expandTilde("~root"), root->pw_dir);
  EXPECT_EQ(expandTilde("~root/notes.txt"), std::string(root->pw_dir) + "/notes.txt");
}

TEST(ExpandTilde, UnknownUserOrNoLeadingTildeIsUnchanged) {
  ScopedEnv home("HOME", "/home/tester");
  for (const char* path : {"~no_such_user_zq7", "~no_such_user_zq7/x", "", "/a/~/b", "Disk:~"})
    EXPECT_EQ(expandTilde(path), path) << path;
  std::string withNul("~ro\0ot/x", 8);
  EXPECT_EQ(expandTilde(withNul), withNul);
}

}  // namespace
}  // namespace tessaro::platform
