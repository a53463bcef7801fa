#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

#include "platform/file_paths.hpp"
#include "platform_test_support.hpp"

namespace tessaro::platform {
namespace {

using testing::ScopedCurrentFolder;
using testing::ScratchFolder;

// Paths under a folder that does not exist, so that no stat() adds a "/".
constexpr const char* kMissing = "/no-such-folder-tessaro";

TEST(FileURLFromPath, EscapesBytesOutsideThePathSet) {
  std::string base = std::string("file://") + kMissing;
  auto url = [](const std::string& name) { return fileURLFromPath(std::string(kMissing) + name); };
  EXPECT_EQ(url("/a b"), base + "/a%20b");
  EXPECT_EQ(url("/100%"), base + "/100%25");
  EXPECT_EQ(url("/what?.txt"), base + "/what%3F.txt");
  EXPECT_EQ(url("/#1"), base + "/%231");
  EXPECT_EQ(url("/caf\xC3\xA9"), base + "/caf%C3%A9");
  EXPECT_EQ(url("/\"[x]\\<>^`{|}\t"), base + "/%22%5Bx%5D%5C%3C%3E%5E%60%7B%7C%7D%09");
  // Everything a URL path may carry stays as it is; so do dots and doubled slashes.
  EXPECT_EQ(url("/a:b@c!$&'()*+,;=-._~Z9"), base + "/a:b@c!$&'()*+,;=-._~Z9");
  EXPECT_EQ(url("//a/../b/./c"), base + "//a/../b/./c");
}

TEST(FileURLFromPath, FoldersEndWithSlash) {
  ScratchFolder scratch;
  ASSERT_FALSE(scratch.path().empty());
  std::filesystem::create_directory(scratch / "sub folder");
  std::ofstream(scratch / "file.txt") << "x";
  std::filesystem::create_directory_symlink(scratch / "sub folder", scratch / "link");
  std::string base = "file://" + scratch.path();

  EXPECT_EQ(fileURLFromPath("/"), "file:///");
  EXPECT_EQ(fileURLFromPath(scratch.path()), base + "/");
  EXPECT_EQ(fileURLFromPath(scratch / "sub folder"), base + "/sub%20folder/");
  EXPECT_EQ(fileURLFromPath(scratch / "link"), base + "/link/");
  EXPECT_EQ(fileURLFromPath(scratch / "file.txt"), base + "/file.txt");
  // A trailing slash is kept even when nothing is there.
  EXPECT_EQ(fileURLFromPath(scratch / "missing/"), base + "/missing/");
}

TEST(FileURLFromPath, GivenKindIsNotLookedUp) {
  EXPECT_EQ(fileURLFromPath("/tmp", false), "file:///tmp");
  EXPECT_EQ(fileURLFromPath("/no-such/dir", true), "file:///no-such/dir/");
  EXPECT_EQ(fileURLFromPath("/no-such/dir/", false), "file:///no-such/dir/");
  EXPECT_EQ(fileURLFromPath("/", false), "file:///");
}

TEST(FileURLFromPath, RelativePathsStartAtTheCurrentFolder) {
  ScratchFolder scratch;
  ASSERT_FALSE(scratch.path().empty());
  std::filesystem::create_directory(scratch / "sub");
  ScopedCurrentFolder inScratch(scratch.path());
  std::string base = "file://" + scratch.path();

  EXPECT_EQ(fileURLFromPath("sub"), base + "/sub/");
  EXPECT_EQ(fileURLFromPath("a b.txt"), base + "/a%20b.txt");
  EXPECT_EQ(fileURLFromPath("../x", false), base + "/../x");
  EXPECT_EQ(fileURLFromPath(""), base + "/");

  ScopedCurrentFolder atRoot("/");
  EXPECT_EQ(fileURLFromPath("no-such-x"), "file:///no-such-x");
}

TEST(IsFileURL, ChecksTheSchemeInAnyCase) {
  EXPECT_TRUE(isFileURL("FiLe:///tmp"));
  for (const char* url : {"http://host/file", "files:///tmp", "file", "/tmp/file:x"})
    EXPECT_FALSE(isFileURL(url)) << url;
}

TEST(PathFromFileURL, DecodesThePathAndDropsTheTrailingSlash) {
  EXPECT_EQ(pathFromFileURL("file:///tmp/caf%c3%A9/"), "/tmp/caf\xC3\xA9");
  EXPECT_EQ(pathFromFileURL("file:///tmp//"), "/tmp");
  EXPECT_EQ(pathFromFileURL("file:///"), "/");
  EXPECT_EQ(pathFromFileURL("FILE://LocalHost/Users/"), "/Users");
  EXPECT_EQ(pathFromFileURL("file:/tmp/x"), "/tmp/x");
  EXPECT_EQ(pathFromFileURL("file:///a+b%2Fc"), "/a+b/c");
  EXPECT_EQ(pathFromFileURL("file:///a/b?query=1#part"), "/a/b");
}

TEST(PathFromFileURL, NoValueForOtherURLs) {
  for (const char* url : {"http://host/x", "file://server/share/x", "file://user@localhost/x", "file:",
                          "file://", "file://localhost", "file:relative/x", "file:///a%2", "file:///a%",
                          "file:///a%zz", "file:///a%00b", "/tmp/x", ""})
    EXPECT_EQ(pathFromFileURL(url), std::nullopt) << url;
}

TEST(PathFromFileURL, GivesBackThePathAURLWasMadeFrom) {
  for (std::string path : {"/a b/100%/what?/#1", "/caf\xC3\xA9/x:y@z", "/a//b/../c", "/\x01\x7F\xFF",
                           "/%41", "/x/;=&"}) {
    std::string url = fileURLFromPath(path, false);
    EXPECT_EQ(pathFromFileURL(url), path) << url;
    EXPECT_EQ(pathFromFileURL(fileURLFromPath(path, true)), path) << url;
  }
}

}  // namespace
}  // namespace tessaro::platform
