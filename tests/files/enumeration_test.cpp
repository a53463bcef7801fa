#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "files_test_support.hpp"
#include "tessaro/krv_forder.hpp"

namespace tessaro {
namespace {

using files::testing::makeSampleTree;
using files::testing::relativeSorted;
using files::testing::ScratchFolder;
using Paths = std::vector<std::string>;

Value str(const std::string& s) { return Value::fromUtf8(s); }
Value yes() { return Value::boolean(true); }
Value no() { return Value::boolean(false); }

class Enumeration : public files::testing::SampleTreeTest {};

TEST_F(Enumeration, ShortFormsSkipHiddenItemsAndPackageContentsAndNeverFollowLinks) {
  EXPECT_EQ(relativeSorted(KRVForder::itemsIn_recursive_asPaths_(str(root), yes(), yes()), root),
            (Paths{"Sub", "Sub/Deep", "Sub/Deep/c.txt", "Sub/b.txt", "Tool.app", "a.txt", "link"}));
  EXPECT_EQ(relativeSorted(KRVForder::itemsIn_recursive_asPaths_(str(root), no(), yes()), root),
            (Paths{"Sub", "Tool.app", "a.txt", "link"}));
}

TEST_F(Enumeration, LongFormsShowHiddenItemsAndPackageContentsWhenAsked) {
  Value all = KRVForder::itemsIn_recursive_skipHidden_skipInsidePackages_asPaths_(str(root), yes(), no(), no(), yes());
  EXPECT_EQ(relativeSorted(all, root),
            (Paths{".dot", ".hidden", "Sub", "Sub/Deep", "Sub/Deep/c.txt", "Sub/b.txt", "Tool.app", "Tool.app/Contents",
                   "Tool.app/Contents/x", "a.txt", "link", "listed"}));
  // Each folder comes before what it holds.
  std::vector<std::string> order;
  for (const Value& v : all.asList()) order.push_back(v.toUtf8());
  auto at = [&](const std::string& name) { return std::find(order.begin(), order.end(), root + "/" + name) - order.begin(); };
  EXPECT_LT(at("Sub"), at("Sub/Deep"));
  EXPECT_LT(at("Sub/Deep"), at("Sub/Deep/c.txt"));
  EXPECT_LT(at("Tool.app/Contents"), at("Tool.app/Contents/x"));
  // A shallow item list has no package option to obey.
  EXPECT_EQ(relativeSorted(KRVForder::itemsIn_recursive_skipHidden_skipInsidePackages_asPaths_(str(root), no(), yes(),
                                                                                               no(), yes()),
                           root),
            (Paths{"Sub", "Tool.app", "a.txt", "link"}));
}

TEST_F(Enumeration, PackagesAndLinksAreFilesNeverFolders) {
  EXPECT_EQ(relativeSorted(KRVForder::filesIn_recursive_asPaths_(str(root), yes(), yes()), root),
            (Paths{"Sub/Deep/c.txt", "Sub/b.txt", "Tool.app", "a.txt", "link"}));
  EXPECT_EQ(relativeSorted(KRVForder::foldersIn_recursive_asPaths_(str(root), yes(), yes()), root),
            (Paths{"Sub", "Sub/Deep"}));
  EXPECT_EQ(relativeSorted(KRVForder::foldersIn_recursive_skipHidden_skipInsidePackages_asPaths_(str(root), yes(), no(),
                                                                                                no(), yes()),
                           root),
            (Paths{"Sub", "Sub/Deep", "Tool.app/Contents"}));
  EXPECT_EQ(relativeSorted(KRVForder::filesIn_recursive_skipHidden_skipInsidePackages_asPaths_(str(root), no(), no(),
                                                                                              yes(), yes()),
                           root),
            (Paths{".dot", ".hidden", "Tool.app", "a.txt", "link", "listed"}));
}

TEST_F(Enumeration, UrlsMarkFoldersWithASlashAndPathsInMarksOnlyPlainFolders) {
  EXPECT_EQ(relativeSorted(KRVForder::itemsIn_recursive_asPaths_(str(root), no(), no()), root),
            (Paths{"Sub/", "Tool.app/", "a.txt", "link"}));
  EXPECT_EQ(relativeSorted(KRVForder::pathsIn_recursive_(str(root), yes()), root),
            (Paths{"Sub/", "Sub/Deep/", "Sub/Deep/c.txt", "Sub/b.txt", "Tool.app", "a.txt", "link"}));
  // The folder may be given as a url or a "~" path like any file reference.
  platform::testing::ScopedEnv home("HOME", root);
  EXPECT_EQ(relativeSorted(KRVForder::pathsIn_recursive_(str("~/Sub"), no()), root), (Paths{"Sub/Deep/", "Sub/b.txt"}));
  EXPECT_EQ(relativeSorted(KRVForder::filesIn_recursive_asPaths_(Value::url("file://" + root + "/Sub/"), no(), yes()), root),
            (Paths{"Sub/b.txt"}));
}

TEST_F(Enumeration, EmptyMissingAndUnconvertibleFolders) {
  std::filesystem::create_directory(root + "/Empty");
  Value empty = KRVForder::itemsIn_recursive_asPaths_(str(root + "/Empty"), yes(), yes());
  ASSERT_TRUE(empty.isList());
  EXPECT_TRUE(empty.asList().empty());
  EXPECT_TRUE(KRVForder::itemsIn_recursive_asPaths_(str(root + "/Missing"), yes(), yes()).isNothing());
  EXPECT_TRUE(KRVForder::filesIn_recursive_asPaths_(str(root + "/a.txt"), yes(), yes()).isNothing());
  EXPECT_TRUE(KRVForder::pathsIn_recursive_(Value::integer(3), yes()).isNothing());
  EXPECT_TRUE(KRVForder::resourceValuesForKeys_forItemsIn_recursive_(Value::list({}), str(root + "/Missing"), yes())
                  .isNothing());
}

TEST_F(Enumeration, AnUnreadableFolderIsListedButNotEnteredAndTheWalkGoesOn) {
  std::filesystem::create_directory(root + "/Locked");
  files::testing::writeFile(root + "/Locked/secret", "s");
  ::chmod(root.c_str(), 0755);
  ::chmod((root + "/Locked").c_str(), 0);
  EXPECT_TRUE(files::testing::passesUnprivileged([&] {
    Paths expected{"Locked", "Sub", "Sub/Deep", "Sub/Deep/c.txt", "Sub/b.txt", "Tool.app", "a.txt", "link"};
    Value records = KRVForder::resourceValuesForKeys_forItemsIn_recursive_(Value::list({}), str(root), yes());
    return relativeSorted(KRVForder::itemsIn_recursive_asPaths_(str(root), yes(), yes()), root) == expected &&
           records.isList() && records.asList().size() == expected.size() &&
           KRVForder::itemsIn_recursive_asPaths_(str(root + "/Locked"), yes(), yes()).isNothing();
  }));
  ::chmod((root + "/Locked").c_str(), 0755);
}

}  // namespace
}  // namespace tessaro

namespace tessaro {
namespace {

std::size_t openDescriptors() {
  std::size_t n = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) ++n;
  return n;
}

TEST(DeepEnumeration, TreesDeeperThanTheOpenFoldersAreWalkedWholeAndNothingStaysOpen) {
  ScratchFolder scratch;
  std::string path = scratch.path();
  for (int depth = 0; depth < 80; ++depth) {
    path += "/d" + std::to_string(depth);
    std::filesystem::create_directory(path);
    files::testing::writeFile(path + "/f", "");
  }
  const std::size_t before = openDescriptors();
  Value paths = KRVForder::pathsIn_recursive_(Value::fromUtf8(scratch.path()), Value::boolean(true));
  ASSERT_TRUE(paths.isList());
  EXPECT_EQ(paths.asList().size(), 160u);
  const Value deepest = Value::fromUtf8(path + "/f");
  EXPECT_NE(std::find(paths.asList().begin(), paths.asList().end(), deepest), paths.asList().end());
  EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
}  // namespace tessaro
