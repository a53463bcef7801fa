// File references: URL string checks, descriptor coercion, and HFS paths of
// real folders, packages and files (the command cases cover the rest).
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "../platform/platform_test_support.hpp"
#include "platform/file_references.hpp"
#include "tessaro/krv_forder.hpp"

namespace tessaro {
namespace {

using K = KRVForder;
using platform::testing::ScopedEnv;
using platform::testing::ScratchFolder;

Value str(const std::string& utf8) { return Value::fromUtf8(utf8); }

TEST(URLStrings, AbsoluteURLsOnly) {
  for (const char* good : {"file:///tmp/a%20b", "http://[::1]:80/p?q=1#frag", "mailto:someone@example.com",
                           "x-app+v1.2:rest", "urn:isbn:0451450523", "a:", "file:///a/b/?#"})
    EXPECT_TRUE(platform::isValidURLString(good)) << good;
  for (const char* bad : {"", "/tmp/a", "tmp/a:b", "1http://x", ":x", "file:///a b", "file:///a%2", "file:///%zz",
                          "http://h/a#b#c", "http://h/[x]", "file:///caf\xC3\xA9", "http://h/\t", "http://h/a\"b",
                          "http\x01://h"})
    EXPECT_FALSE(platform::isValidURLString(bad)) << bad;
}

TEST(URLStrings, OnlyFileURLDescriptorsCoerce) {
  EXPECT_EQ(platform::coerceToFileURL(Descriptor(codes::fileURL, "file:///x")), "file:///x");
  EXPECT_FALSE(platform::coerceToFileURL(Descriptor(codes::alias, "file:///x")));
  EXPECT_FALSE(platform::coerceToFileURL(Descriptor(codes::bookmark, "book")));
  EXPECT_FALSE(platform::coerceToFileURL(Descriptor(codes::utf8Text, "file:///x")));
}

TEST(HFSPathFromURL, FoldersPackagesAndFiles) {
  ScratchFolder volumesFolder;
  ASSERT_FALSE(volumesFolder.path().empty());
  ScopedEnv startup("TESSARO_STARTUP_VOLUME", "Boot");
  ScopedEnv volumes("TESSARO_VOLUMES_DIR", volumesFolder.path());
  namespace fs = std::filesystem;
  fs::create_directories(volumesFolder / "Data/Folder");
  fs::create_directories(volumesFolder / "Data/Tool.app/Contents");
  std::ofstream(volumesFolder / "Data/Folder/note.txt") << "x";

  const std::string base = "file://" + volumesFolder.path() + "/Data";
  auto hfs = [](const std::string& url, bool colonForPackages) {
    return K::HFSPathFromURL_colonForPackages_(Value::url(url), Value::boolean(colonForPackages));
  };
  EXPECT_EQ(K::HFSPathFromURL_(Value::url(base + "/Folder")), str("Data:Folder:"));
  EXPECT_EQ(K::HFSPathFromURL_(Value::url(base + "/")), str("Data:"));
  EXPECT_EQ(hfs(base + "/Folder/note.txt", true), str("Data:Folder:note.txt"));
  EXPECT_EQ(hfs(base + "/Tool.app/", false), str("Data:Tool.app"));
  EXPECT_EQ(hfs(base + "/Tool.app", true), str("Data:Tool.app:"));
  EXPECT_EQ(hfs(base + "/Folder/missing", true), str("Data:Folder:missing"));

  // The volumes folder itself lies on the startup volume.
  std::string startupPath = "Boot";
  for (const auto& part : fs::path(volumesFolder.path()).relative_path()) {
    startupPath += ':';
    startupPath += part.string();
  }
  EXPECT_EQ(K::HFSPathFromURL_(Value::url("file://" + volumesFolder.path())), str(startupPath + ":"));
  EXPECT_EQ(K::HFSPathFromURL_(Value::url("file:///")), str("Boot:"));

  // Anything URLFrom: accepts names the item too; other values give nothing.
  EXPECT_EQ(K::HFSPathFromURL_(str(volumesFolder / "Data/Folder")), str("Data:Folder:"));
  EXPECT_TRUE(K::HFSPathFromURL_(Value::url("https://example.com/")).isNothing());
  EXPECT_TRUE(K::HFSPathFromURL_(Value::integer(3)).isNothing());
}

}  // namespace
}  // namespace tessaro
