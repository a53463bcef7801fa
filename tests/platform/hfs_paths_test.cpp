#include <filesystem>
#include <gtest/gtest.h>

#include "platform/file_paths.hpp"
#include "platform_test_support.hpp"

namespace tessaro::platform {
namespace {

using testing::ScopedCurrentFolder;
using testing::ScopedEnv;
using testing::ScratchFolder;

class HFSPaths : public ::testing::Test {
 protected:
  ScopedEnv startup_{"TESSARO_STARTUP_VOLUME", "Startup Disk"};
  ScopedEnv volumes_{"TESSARO_VOLUMES_DIR", "/mnt/vols"};
};

TEST(HFSVolumes, DefaultsWhenUnsetOrEmpty) {
  {
    ScopedEnv startup("TESSARO_STARTUP_VOLUME", std::nullopt);
    ScopedEnv volumes("TESSARO_VOLUMES_DIR", std::nullopt);
    EXPECT_EQ(startupVolumeName(), "System");
    EXPECT_EQ(volumesFolder(), "/media");
    EXPECT_EQ(hfsPathFromPath("/"), "System");
    EXPECT_EQ(hfsPathFromPath("/media/Disk/a/b"), "Disk:a:b");
    EXPECT_EQ(pathFromHFSPath("System:Users:"), "/Users");
    EXPECT_EQ(pathFromHFSPath("Disk:x"), "/media/Disk/x");
  }
  ScopedEnv startup("TESSARO_STARTUP_VOLUME", "");
  ScopedEnv volumes("TESSARO_VOLUMES_DIR", "");
  EXPECT_EQ(startupVolumeName(), "System");
  EXPECT_EQ(volumesFolder(), "/media");
}

TEST(HFSVolumes, StartupVolumeNameWithColonRoundTrips) {
  ScopedEnv startup("TESSARO_STARTUP_VOLUME", "a:b");
  ScopedEnv volumes("TESSARO_VOLUMES_DIR", "/media");
  EXPECT_EQ(hfsPathFromPath("/"), "a/b");
  EXPECT_EQ(hfsPathFromPath("/x/y"), "a/b:x:y");
  EXPECT_EQ(pathFromHFSPath("a/b:x:y"), "/x/y");
  // The name as configured is not the name as written.
  EXPECT_EQ(pathFromHFSPath("a:b:x"), "/media/a/b/x");
}

TEST_F(HFSPaths, StartupVolumeHoldsEverythingOutsideTheVolumesFolder) {
  EXPECT_EQ(hfsPathFromPath("/"), "Startup Disk");
  EXPECT_EQ(hfsPathFromPath("/Users/"), "Startup Disk:Users");
  EXPECT_EQ(hfsPathFromPath("/tmp/a:b"), "Startup Disk:tmp:a/b");
  EXPECT_EQ(hfsPathFromPath("/mnt/vols"), "Startup Disk:mnt:vols");
  // The volumes folder must match whole components.
  EXPECT_EQ(hfsPathFromPath("/mnt/volsX/a"), "Startup Disk:mnt:volsX:a");
}

TEST_F(HFSPaths, FoldersInTheVolumesFolderAreVolumes) {
  EXPECT_EQ(hfsPathFromPath("/mnt/vols/Backup"), "Backup");
  EXPECT_EQ(hfsPathFromPath("/mnt/vols/Backup/a/b c"), "Backup:a:b c");
  EXPECT_EQ(hfsPathFromPath("/mnt/vols/Back:up/x:y/z"), "Back/up:x/y:z");
  ScopedEnv slashed("TESSARO_VOLUMES_DIR", "/mnt/vols/");
  EXPECT_EQ(hfsPathFromPath("/mnt/vols/Backup/a"), "Backup:a");
}

TEST_F(HFSPaths, PathsAreTidiedBeforeConversionAndMustBeAbsolute) {
  EXPECT_EQ(hfsPathFromPath("/a//b/./c/../d"), "Startup Disk:a:b:d");
  EXPECT_EQ(hfsPathFromPath("/.."), "Startup Disk");
  EXPECT_EQ(hfsPathFromPath("/mnt//vols/./Backup/x"), "Backup:x");
  EXPECT_EQ(hfsPathFromPath("/mnt/vols/Backup/.."), "Startup Disk:mnt:vols");
  EXPECT_EQ(hfsPathFromPath(""), std::nullopt);
  EXPECT_EQ(hfsPathFromPath("Startup Disk:tmp"), std::nullopt);
}

TEST_F(HFSPaths, VolumeNamesTheRootOrAFolderInTheVolumesFolder) {
  EXPECT_EQ(pathFromHFSPath("Startup Disk"), "/");
  EXPECT_EQ(pathFromHFSPath("Startup Disk:"), "/");
  EXPECT_EQ(pathFromHFSPath("Startup Disk:Users:"), "/Users");
  EXPECT_EQ(pathFromHFSPath("Startup Disk:tmp:a/b"), "/tmp/a:b");
  // Volume names are matched exactly.
  EXPECT_EQ(pathFromHFSPath("startup disk:x"), "/mnt/vols/startup disk/x");
  EXPECT_EQ(pathFromHFSPath("Backup"), "/mnt/vols/Backup");
  EXPECT_EQ(pathFromHFSPath("Backup:x:y:"), "/mnt/vols/Backup/x/y");
  EXPECT_EQ(pathFromHFSPath("Back/up:a/b"), "/mnt/vols/Back:up/a:b");
}

TEST_F(HFSPaths, DoubledColonsGoUpButNotAboveTheVolume) {
  EXPECT_EQ(pathFromHFSPath("Backup:a:b::c"), "/mnt/vols/Backup/a/c");
  EXPECT_EQ(pathFromHFSPath("Backup:a:b::"), "/mnt/vols/Backup/a");
  EXPECT_EQ(pathFromHFSPath("Backup:a:b:::"), "/mnt/vols/Backup");
  EXPECT_EQ(pathFromHFSPath("Backup:::x"), "/mnt/vols/Backup/x");
  EXPECT_EQ(pathFromHFSPath("Startup Disk:::etc"), "/etc");
}

TEST_F(HFSPaths, LeadingColonStartsAtTheCurrentFolder) {
  ScratchFolder scratch;
  ASSERT_FALSE(scratch.path().empty());
  ScopedCurrentFolder inScratch(scratch.path());
  std::string parent = std::filesystem::path(scratch.path()).parent_path().string();

  EXPECT_EQ(pathFromHFSPath(":a:b/c:"), scratch.path() + "/a/b:c");
  EXPECT_EQ(pathFromHFSPath(":"), scratch.path());
  EXPECT_EQ(pathFromHFSPath(""), scratch.path());
  EXPECT_EQ(pathFromHFSPath("::x"), (parent == "/" ? "" : parent) + "/x");

  ScopedCurrentFolder atRoot("/");
  EXPECT_EQ(pathFromHFSPath(":::x"), "/x");
}

TEST_F(HFSPaths, ConversionsInvertEachOther) {
  for (const char* path : {"/", "/tmp/a:b/c d", "/mnt/vols/Backup", "/mnt/vols/Back:up/x/y",
                           "/mnt/vols", "/caf\xC3\xA9"}) {
    std::optional<std::string> hfs = hfsPathFromPath(path);
    ASSERT_TRUE(hfs) << path;
    EXPECT_EQ(pathFromHFSPath(*hfs), path) << *hfs;
    EXPECT_EQ(pathFromHFSPath(*hfs + ":"), path) << *hfs;
  }
}

}  // namespace
}  // namespace tessaro::platform
