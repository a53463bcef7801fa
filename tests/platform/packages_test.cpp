#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <set>

#include "platform/file_paths.hpp"
#include "platform_test_support.hpp"

namespace tessaro::platform {
namespace {

using testing::ScratchFolder;

TEST(PackageExtensions, TableEntriesAreDistinctAndRecognisedInAnyCase) {
  std::set<std::string_view> seen;
  for (std::string_view extension : packageExtensions()) {
    EXPECT_TRUE(seen.insert(extension).second) << extension << " appears twice";
    std::string upper(extension);
    std::transform(upper.begin(), upper.end(), upper.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    EXPECT_TRUE(hasPackageExtension("Item." + std::string(extension))) << extension;
    EXPECT_TRUE(hasPackageExtension("Item." + upper)) << upper;
  }
  for (std::string_view expected : {"app", "bundle", "framework", "kext", "pkg", "rtfd", "xcodeproj", "pages"})
    EXPECT_EQ(seen.count(expected), 1u) << expected;
}

TEST(PackageExtensions, OnlyTheLastExtensionOfTheLastComponentCounts) {
  EXPECT_TRUE(hasPackageExtension("archive.tar.pkg"));
  EXPECT_TRUE(hasPackageExtension("/Applications/Mail.app/"));
  for (const char* name : {"Mail.app.zip", "/Applications/Mail.app/Contents", ".app", "app", "Mail.", "Mail.apps", ""})
    EXPECT_FALSE(hasPackageExtension(name)) << name;
}

TEST(ReadItemKind, TellsFilesFoldersAndPackagesApart) {
  ScratchFolder scratch;
  ASSERT_FALSE(scratch.path().empty());
  std::filesystem::create_directory(scratch / "Plain");
  std::filesystem::create_directory(scratch / "Tool.APP");
  std::ofstream(scratch / "notes.rtfd") << "a file, not a folder";
  std::filesystem::create_directory_symlink(scratch / "Plain", scratch / "Shortcut.bundle");
  std::filesystem::create_symlink(scratch / "gone", scratch / "dangling");

  auto kind = [&](const std::string& name) {
    std::optional<ItemKind> k = readItemKind(scratch / name);
    return k ? std::string(k->isDirectory ? "folder" : "file") + (k->isPackage ? " package" : "") : "none";
  };
  EXPECT_EQ(kind("Plain"), "folder");
  EXPECT_EQ(kind("Tool.APP"), "folder package");
  EXPECT_EQ(kind("Tool.APP/"), "folder package");
  EXPECT_EQ(kind("notes.rtfd"), "file");
  // A link is an item of its own, whatever it points to.
  EXPECT_EQ(kind("Shortcut.bundle"), "file");
  EXPECT_EQ(kind("dangling"), "file");
  // ...but a trailing slash resolves it, as the system does.
  EXPECT_EQ(kind("Shortcut.bundle/"), "folder package");
  EXPECT_EQ(kind("missing"), "none");
  // lstat() would see only the part before the NUL, which is a folder.
  EXPECT_EQ(kind(std::string("\0/Plain", 7)), "none");
  EXPECT_EQ(readItemKind(""), std::nullopt);
}

}  // namespace
}  // namespace tessaro::platform
