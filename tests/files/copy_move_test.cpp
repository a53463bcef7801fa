#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include "files_test_support.hpp"
#include "platform/item_copy.hpp"
#include "tessaro/krv_forder.hpp"

namespace tessaro {
namespace {

namespace fs = std::filesystem;
using files::testing::readFile;
using files::testing::ScratchFolder;
using files::testing::writeFile;

Value str(const std::string& s) { return Value::fromUtf8(s); }
const Value yes = Value::boolean(true);
const Value no = Value::boolean(false);

// The names in `folder` that a replace may have left behind.
std::vector<std::string> scratchItems(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder))
    if (entry.path().filename().string().starts_with(platform::kScratchPrefix)) names.push_back(entry.path().string());
  return names;
}

class CopyMove : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(scratch.path().empty());
    root = scratch.path();
  }
  bool copy(const std::string& from, const std::string& to, bool replace) {
    return KRVForder::copyItemAt_toItem_replace_error_(str(from), str(to), Value::boolean(replace), &error);
  }
  bool move(const std::string& from, const std::string& to, bool replace) {
    return KRVForder::moveItemAt_toItem_replace_error_(str(from), str(to), Value::boolean(replace), &error);
  }
  ScratchFolder scratch;
  std::string root;
  CommandError error{"untouched", 0, ""};
};

TEST_F(CopyMove, ACopyKeepsContentModeTimesAttributesAndLinks) {
  fs::create_directories(root + "/Tree/Inner");
  writeFile(root + "/Tree/Inner/f", "payload");
  ::chmod((root + "/Tree/Inner/f").c_str(), 0751);
  const bool attributes = ::setxattr((root + "/Tree/Inner/f").c_str(), "user.note", "hi", 2, 0) == 0;
  fs::create_symlink("Inner/f", root + "/Tree/link");
  timespec times[2] = {{1500000000, 0}, {1500000001, 0}};
  ::utimensat(AT_FDCWD, (root + "/Tree/Inner/f").c_str(), times, 0);

  ASSERT_TRUE(copy(root + "/Tree", root + "/Copy", false));
  EXPECT_EQ(error.domain, "untouched");  // success leaves the out-parameter alone
  EXPECT_EQ(readFile(root + "/Copy/Inner/f"), "payload");
  struct stat info {};
  ASSERT_EQ(::stat((root + "/Copy/Inner/f").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0751u);
  EXPECT_EQ(info.st_mtim.tv_sec, 1500000001);
  EXPECT_TRUE(fs::is_symlink(root + "/Copy/link"));
  EXPECT_EQ(fs::read_symlink(root + "/Copy/link"), "Inner/f");
  if (attributes) {
    char value[8] = {};
    EXPECT_EQ(::getxattr((root + "/Copy/Inner/f").c_str(), "user.note", value, sizeof value), 2);
    EXPECT_STREQ(value, "hi");
  }
  EXPECT_EQ(readFile(root + "/Tree/Inner/f"), "payload");  // the source stays
}

TEST_F(CopyMove, AnExistingDestinationIsReplacedOnlyWhenAsked) {
  writeFile(root + "/new", "new");
  writeFile(root + "/old", "old");
  EXPECT_FALSE(copy(root + "/new", root + "/old", false));
  EXPECT_EQ(error.domain, "NSCocoaErrorDomain");
  EXPECT_EQ(error.code, 516);
  EXPECT_NE(error.message.find("already exists"), std::string::npos) << error.message;
  EXPECT_EQ(readFile(root + "/old"), "old");

  EXPECT_TRUE(copy(root + "/new", root + "/old", true));
  EXPECT_EQ(readFile(root + "/old"), "new");
  EXPECT_EQ(readFile(root + "/new"), "new");
  EXPECT_TRUE(scratchItems(root).empty());

  // A folder in the way is replaced as an item, not entered.
  fs::create_directories(root + "/Folder/Inside");
  EXPECT_TRUE(copy(root + "/new", root + "/Folder", true));
  EXPECT_TRUE(fs::is_regular_file(root + "/Folder"));
  EXPECT_EQ(readFile(root + "/Folder"), "new");
  EXPECT_TRUE(scratchItems(root).empty());
}

TEST_F(CopyMove, MovesConsumeTheSource) {
  writeFile(root + "/a", "a");
  writeFile(root + "/b", "b");
  EXPECT_FALSE(move(root + "/a", root + "/b", false));
  EXPECT_EQ(error.code, 516);
  EXPECT_TRUE(fs::exists(root + "/a"));
  EXPECT_TRUE(move(root + "/a", root + "/b", true));
  EXPECT_FALSE(fs::exists(root + "/a"));
  EXPECT_EQ(readFile(root + "/b"), "a");
  fs::create_directories(root + "/D/E");
  EXPECT_TRUE(move(root + "/D", root + "/Moved", false));
  EXPECT_TRUE(fs::is_directory(root + "/Moved/E"));
  EXPECT_TRUE(scratchItems(root).empty());
}

TEST_F(CopyMove, FailuresCarryThePlatformsCodesAndArgumentsTheLibrarysOwn) {
  writeFile(root + "/a", "a");
  EXPECT_FALSE(copy(root + "/missing", root + "/x", true));
  EXPECT_EQ(error.domain, "NSCocoaErrorDomain");
  EXPECT_EQ(error.code, 260);
  EXPECT_FALSE(copy(root + "/a", root + "/NoFolder/x", true));
  EXPECT_EQ(error.code, 4);
  EXPECT_FALSE(move(root + "/missing", root + "/x", true));
  EXPECT_EQ(error.code, 260);

  EXPECT_FALSE(KRVForder::copyItemAt_toItem_replace_error_(Value::integer(1), str(root + "/x"), yes, &error));
  EXPECT_EQ(error, (CommandError{std::string(bundleIdentifier()), 10000, "No such source item."}));
  EXPECT_FALSE(KRVForder::moveItemAt_toItem_replace_error_(str(root + "/a"), Value(), yes, &error));
  EXPECT_EQ(error, (CommandError{std::string(bundleIdentifier()), 10000, "No such destination."}));
  // Without an out-parameter the replace still learns why the copy failed.
  writeFile(root + "/b", "b");
  EXPECT_TRUE(KRVForder::copyItemAt_toItem_replace_error_(str(root + "/a"), str(root + "/b"), yes, nullptr));
  EXPECT_EQ(readFile(root + "/b"), "a");
}

TEST_F(CopyMove, APermissionFailureIsReportedAsSuch) {
  writeFile(root + "/a", "a");
  fs::create_directory(root + "/Closed");
  writeFile(root + "/Closed/old", "old");
  ::chmod(root.c_str(), 0755);
  ::chmod((root + "/Closed").c_str(), 0555);
  EXPECT_TRUE(files::testing::passesUnprivileged([&] {
    CommandError e;
    const bool refused =
        !KRVForder::copyItemAt_toItem_replace_error_(str(root + "/a"), str(root + "/Closed/a"), no, &e) && e.code == 513;
    // No scratch folder can be made beside an item in a closed folder: the
    // item already there stays the reason.
    CommandError e2;
    const bool kept =
        !KRVForder::copyItemAt_toItem_replace_error_(str(root + "/a"), str(root + "/Closed/old"), yes, &e2) &&
        e2.code == 516 && readFile(root + "/Closed/old") == "old";
    return refused && kept;
  }));
}

}  // namespace
}  // namespace tessaro
