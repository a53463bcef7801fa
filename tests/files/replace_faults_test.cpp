// Faults during replacing copies: a write that fails partway, and processes
// killed at random moments. The destination must always be the old item or
// the new one, whole, and scratch items must be recognisable and cleared.
#include <chrono>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <thread>
#include <sys/wait.h>
#include <unistd.h>

#include "files_test_support.hpp"
#include "platform/item_copy.hpp"
#include "tessaro/krv_forder.hpp"

namespace tessaro {
namespace {

namespace fs = std::filesystem;
using files::testing::readFile;
using files::testing::ScratchFolder;
using files::testing::writeFile;

// Everything a tree holds: relative path to content ("dir" for folders,
// "-> target" for links). A file stands alone under the name ".".
std::map<std::string, std::string> snapshot(const std::string& path) {
  std::map<std::string, std::string> items;
  if (fs::is_symlink(path)) return {{".", "-> " + fs::read_symlink(path).string()}};
  if (!fs::is_directory(path)) return fs::exists(path) ? std::map<std::string, std::string>{{".", readFile(path)}}
                                                        : std::map<std::string, std::string>{};
  items["."] = "dir";
  for (const auto& entry : fs::recursive_directory_iterator(path)) {
    std::string relative = fs::relative(entry.path(), path).string();
    if (entry.is_symlink()) items[relative] = "-> " + fs::read_symlink(entry.path()).string();
    else if (entry.is_directory()) items[relative] = "dir";
    else items[relative] = readFile(entry.path().string());
  }
  return items;
}

void makeTree(const std::string& path, const std::string& marker) {
  fs::create_directories(path + "/a/b");
  for (int i = 0; i < 8; ++i) writeFile(path + "/a/f" + std::to_string(i), marker + std::string(2000, char('a' + i)));
  writeFile(path + "/a/b/last", marker);
  fs::create_symlink("a/f0", path + "/link");
}

bool replacingCopy(const std::string& from, const std::string& to, CommandError* error = nullptr) {
  return KRVForder::copyItemAt_toItem_replace_error_(Value::fromUtf8(from), Value::fromUtf8(to), Value::boolean(true),
                                                     error);
}

std::vector<std::string> leftovers(const std::string& folder, const std::string& except) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder))
    if (entry.path().filename() != except) names.push_back(entry.path().filename().string());
  return names;
}

class ReplaceFaults : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(scratch.path().empty());
    fs::create_directory(scratch / "Sources");
    fs::create_directory(scratch / "Target");
  }
  void TearDown() override { platform::failCopiesAfterBytes(std::nullopt); }
  ScratchFolder scratch;
};

TEST_F(ReplaceFaults, AWriteFailingPartwayLeavesTheDestinationAsItWas) {
  const std::string target = scratch / "Target";
  writeFile(scratch / "Sources/big", std::string(300000, 'n'));
  writeFile(target + "/item", "old file");
  makeTree(scratch / "Sources/tree", "new");

  for (std::uint64_t budget : {0, 1000, 9000}) {
    platform::failCopiesAfterBytes(budget);
    CommandError error;
    EXPECT_FALSE(replacingCopy(scratch / "Sources/big", target + "/item", &error));
    EXPECT_EQ(error.code, 640) << error.message;
    EXPECT_EQ(readFile(target + "/item"), "old file");
    EXPECT_TRUE(leftovers(target, "item").empty());

    platform::failCopiesAfterBytes(budget);
    const auto before = snapshot(target + "/item");
    EXPECT_FALSE(replacingCopy(scratch / "Sources/tree", target + "/item", &error));
    EXPECT_EQ(snapshot(target + "/item"), before);
    EXPECT_TRUE(leftovers(target, "item").empty());
  }
  // A plain copy that fails leaves no partial item either.
  platform::failCopiesAfterBytes(1000);
  EXPECT_FALSE(replacingCopy(scratch / "Sources/tree", target + "/fresh"));
  EXPECT_FALSE(fs::exists(target + "/fresh"));
  platform::failCopiesAfterBytes(std::nullopt);
  EXPECT_TRUE(replacingCopy(scratch / "Sources/tree", target + "/item"));
  EXPECT_EQ(snapshot(target + "/item"), snapshot(scratch / "Sources/tree"));
}

// Runs one replacing copy in a child process and kills it `delay` after the
// child is about to start the copy.
void replaceInChild(const std::string& from, const std::string& to, std::chrono::microseconds delay) {
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  pid_t child = ::fork();
  if (child == 0) {
    ::close(ready[0]);
    const char byte = 1;
    if (::write(ready[1], &byte, 1) != 1) ::_exit(2);
    ::_exit(replacingCopy(from, to) ? 0 : 1);
  }
  ::close(ready[1]);
  char byte = 0;
  ASSERT_EQ(::read(ready[0], &byte, 1), 1);
  ::close(ready[0]);
  std::this_thread::sleep_for(delay);
  ::kill(child, SIGKILL);
  int status = 0;
  ::waitpid(child, &status, 0);
}

void killRepeatedly(const std::string& sourceA, const std::string& sourceB, const std::string& destination, int kills) {
  const auto a = snapshot(sourceA), b = snapshot(sourceB);
  const std::string folder(fs::path(destination).parent_path());
  const std::string name(fs::path(destination).filename());
  // Kill moments spread over the time one whole replace takes, and a little
  // beyond it.
  auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 4; ++i) ASSERT_TRUE(replacingCopy(i % 2 ? sourceA : sourceB, destination));
  const auto span = std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start) / 4;
  std::mt19937 random(12345);
  std::uniform_int_distribution<std::int64_t> moment(0, span.count() * 3 / 2);
  int oldSeen = 0, newSeen = 0;
  for (int i = 0; i < kills; ++i) {
    const auto before = snapshot(destination);
    const auto& incoming = i % 2 ? a : b;
    // Now and then a kill comes at once, or long after the copy must have
    // ended, so that both outcomes are seen however busy the machine is.
    auto delay = std::chrono::microseconds(moment(random));
    if ((i % 10 == 3 || i % 10 == 4) && before != incoming) delay = span * 20 + std::chrono::milliseconds(50);
    if (i % 10 == 7) delay = std::chrono::microseconds(0);
    replaceInChild(i % 2 ? sourceA : sourceB, destination, delay);
    const auto after = snapshot(destination);
    ASSERT_TRUE(after == before || after == incoming) << "kill " << i << " left a missing or partial destination";
    (after == incoming && after != before ? newSeen : oldSeen)++;
    for (const std::string& left : leftovers(folder, name))
      ASSERT_TRUE(left.starts_with(platform::kScratchPrefix)) << left;
  }
  // Both outcomes happen, or the moments were not spread over the copy.
  EXPECT_GT(oldSeen, 0);
  EXPECT_GT(newSeen, 0);
  // A later replace into the folder clears what the killed ones left.
  ASSERT_TRUE(replacingCopy(sourceA, destination));
  EXPECT_EQ(snapshot(destination), a);
  EXPECT_TRUE(leftovers(folder, name).empty());
}

TEST_F(ReplaceFaults, KilledReplacingCopiesOfAFileNeverLeaveItMissingOrPartial) {
  writeFile(scratch / "Sources/a", std::string(400000, 'a'));
  writeFile(scratch / "Sources/b", std::string(300000, 'b'));
  writeFile(scratch / "Target/item", "first");
  killRepeatedly(scratch / "Sources/a", scratch / "Sources/b", scratch / "Target/item", 100);
}

TEST_F(ReplaceFaults, KilledReplacingCopiesOfATreeNeverLeaveItMissingOrPartial) {
  makeTree(scratch / "Sources/a", "A");
  makeTree(scratch / "Sources/b", "B");
  makeTree(scratch / "Target/item", "first");
  killRepeatedly(scratch / "Sources/a", scratch / "Sources/b", scratch / "Target/item", 100);
}

}  // namespace
}  // namespace tessaro
