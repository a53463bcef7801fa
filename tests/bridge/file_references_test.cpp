// File references: URL string checks, the forms URLFrom: folds into a url,
// and HFS paths of real folders, packages and files.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "../platform/platform_test_support.hpp"
#include "platform/file_references.hpp"
#include "tessaro/errors.hpp"
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

TEST(URLFrom, EveryFormOfFileName) {
  ScratchFolder home;
  ASSERT_FALSE(home.path().empty());
  ScopedEnv homeVariable("HOME", home.path());
  ScopedEnv startup("TESSARO_STARTUP_VOLUME", "Boot");
  ScopedEnv volumes("TESSARO_VOLUMES_DIR", "/Volumes");

  EXPECT_EQ(K::URLFrom_(str("~")), Value::url("file://" + home.path() + "/"));
  EXPECT_EQ(K::URLFrom_(str("~/no such")), Value::url("file://" + home.path() + "/no%20such"));
  EXPECT_EQ(K::URLFrom_(str("/")), Value::url("file:///"));
  EXPECT_EQ(K::URLFrom_(str("Boot:tmp:")), Value::url("file:///tmp/"));
  EXPECT_EQ(K::URLFrom_(str("Disk:Users:")), Value::url("file:///Volumes/Disk/Users/"));
  EXPECT_EQ(K::URLFrom_(str("Disk:a/b")), Value::url("file:///Volumes/Disk/a:b"));
  EXPECT_TRUE(K::URLFrom_(str("")).isNothing());

  const Value web = Value::url("https://example.com/");
  EXPECT_EQ(K::URLFrom_(web), web);
  EXPECT_EQ(K::URLFrom_(Value::descriptor(Descriptor(codes::fileURL, "file:///x"))), Value::url("file:///x"));
  EXPECT_TRUE(K::URLFrom_(Value::descriptor(Descriptor(codes::utf8Text, "/tmp"))).isNothing());
  EXPECT_TRUE(K::URLFrom_(Value::descriptor(Descriptor(codes::bookmark, "b"))).isNothing());
  for (const Value& v : {Value::integer(1), Value::null(), Value::list({str("/")}), Value()})
    EXPECT_TRUE(K::URLFrom_(v).isNothing());

  EXPECT_EQ(K::URLsFrom_(Value::list({str("/"), Value::integer(1), web})),
            Value::list({Value::url("file:///"), Value::null(), web}));
  EXPECT_TRUE(K::URLsFrom_(str("/")).isNothing());
  EXPECT_THROW(K::KRV_fordURLFromHFSPath_(Value::integer(1)), HostFailure);
}

TEST(FileFromURL, FileURLsOnly) {
  EXPECT_EQ(K::fileFromURL_(Value::url("file:///a%20b/")),
            Value::descriptor(Descriptor(codes::fileURL, "file:///a%20b/")));
  EXPECT_TRUE(K::fileFromURL_(Value::url("https://example.com/")).isNothing());
  EXPECT_TRUE(K::fileFromURL_(str("/tmp")).isNothing());
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
  for (const auto& part : fs::path(volumesFolder.path()).relative_path()) startupPath += ":" + part.string();
  EXPECT_EQ(K::HFSPathFromURL_(Value::url("file://" + volumesFolder.path())), str(startupPath + ":"));
  EXPECT_EQ(K::HFSPathFromURL_(Value::url("file:///")), str("Boot:"));

  // Anything URLFrom: accepts names the item too; other values give nothing.
  EXPECT_EQ(K::HFSPathFromURL_(str(volumesFolder / "Data/Folder")), str("Data:Folder:"));
  EXPECT_TRUE(K::HFSPathFromURL_(Value::url("https://example.com/")).isNothing());
  EXPECT_TRUE(K::HFSPathFromURL_(Value::integer(3)).isNothing());
}

}  // namespace
}  // namespace tessaro
