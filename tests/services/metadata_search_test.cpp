// The metadata search commands on generated trees: what the walk covers,
// the attributes, dates from "ldt " descriptors, scopes, the errors in their
// order, the time limit and one file's record.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/xattr.h>

#include "../files/files_test_support.hpp"
#include "../files/test_images.hpp"
#include "bridge/long_date.hpp"
#include "platform/file_paths.hpp"
#include "services/metadata_search.hpp"
#include "tessaro/errors.hpp"
#include "tessaro/krv_forder.hpp"

namespace tessaro {
namespace {

using files::testing::writeFile;
using platform::testing::ScopedEnv;
using platform::testing::ScratchFolder;

Value str(std::string_view s) { return Value::fromUtf8(s); }

Value field(const Value& record, std::u16string_view key) {
  const Value* v = record.asRecord().find(key);
  return v ? *v : Value();
}

// The results relative to `root`, in the order returned.
std::vector<std::string> relative(const Value& list, const std::string& root) {
  std::vector<std::string> out;
  if (!list.isList()) return {"<not a list>"};
  for (const Value& v : list.asList()) {
    std::string p = v.toUtf8();
    out.push_back(p.starts_with(root + "/") ? p.substr(root.size() + 1) : p);
  }
  return out;
}

class MetadataSearch : public ::testing::Test {
 protected:
  ScratchFolder scratch;
  std::string root;
  void SetUp() override {
    root = scratch.path();
    files::testing::makeSampleTree(root);  // a.txt .dot listed .hidden Sub/b.txt Sub/Deep/c.txt Tool.app/Contents/x link
    writeFile(root + "/B.txt", std::string(20000, 'x'));
    writeFile(root + "/photo.JPG", "not really");
  }
  Value query(std::string_view q, Value folders, Value values = Value(), CommandError* error = nullptr) {
    return KRVForder::runSpotlightQuery_queryValues_inFolders_error_(str(q), values, folders, error);
  }
  Value inRoot(std::string_view q, Value values = Value()) { return query(q, Value::list({str(root)}), values); }
};

TEST_F(MetadataSearch, WalksHiddenItemsAndPackagesButNotLinksOrTheScopeItself) {
  EXPECT_EQ(relative(inRoot("kMDItemFSName LIKE '*.txt'"), root),
            (std::vector<std::string>{"B.txt", "Sub/Deep/c.txt", "Sub/b.txt", "a.txt"}));  // "B" before "S" before "a"
  EXPECT_EQ(relative(inRoot("kMDItemFSName == 'x' OR kMDItemFSName BEGINSWITH '.'"), root),
            (std::vector<std::string>{".dot", ".hidden", "Tool.app/Contents/x"}));
  Value all = inRoot("TRUEPREDICATE");
  std::vector<std::string> names = relative(all, root);
  EXPECT_EQ(names.size(), 14u);
  EXPECT_EQ(std::count(names.begin(), names.end(), "link"), 1);  // reported, not entered
  EXPECT_EQ(std::count(names.begin(), names.end(), ""), 0);
  EXPECT_EQ(relative(inRoot("kMDItemPath ENDSWITH '/Deep'"), root), (std::vector<std::string>{"Sub/Deep"}));
}

TEST_F(MetadataSearch, ResultsSortByUtf16CodeUnits) {
  // U+1F600 is a surrogate pair (D83D …) and sorts before U+FF21, though its
  // UTF-8 bytes (F0 …) come after EF BC A1.
  writeFile(root + "/\uFF21.txt", "");
  writeFile(root + "/\U0001F600.txt", "");
  writeFile(root + "/~.txt", "");
  EXPECT_EQ(relative(inRoot("kMDItemFSName LIKE '*.txt' AND kMDItemFSSize == 0"), root),
            (std::vector<std::string>{"~.txt", "\U0001F600.txt", "\uFF21.txt"}));
}

TEST_F(MetadataSearch, SizesTypesAndKinds) {
  EXPECT_EQ(relative(inRoot("kMDItemFSSize > 10000"), root), (std::vector<std::string>{"B.txt"}));
  EXPECT_EQ(relative(inRoot("kMDItemFSSize == 5 AND kMDItemLogicalSize == 5"), root), (std::vector<std::string>{"a.txt"}));
  // Folders have no size: "!=" holds for them, every other comparison fails.
  std::vector<std::string> sizeless = relative(inRoot("kMDItemFSSize != 5 AND NOT kMDItemFSSize >= 0"), root);
  EXPECT_EQ(sizeless, (std::vector<std::string>{"Sub", "Sub/Deep", "Tool.app", "Tool.app/Contents"}));
  EXPECT_EQ(relative(inRoot("kMDItemContentTypeTree == 'public.image'"), root), (std::vector<std::string>{"photo.JPG"}));
  EXPECT_EQ(relative(inRoot("kMDItemContentType == 'public.jpeg' && kMDItemKind == 'JPEG image'"), root),
            (std::vector<std::string>{"photo.JPG"}));
  EXPECT_EQ(relative(inRoot("kMDItemKind == 'Plain Text'"), root),
            (std::vector<std::string>{"B.txt", "Sub/Deep/c.txt", "Sub/b.txt", "a.txt"}));
  EXPECT_EQ(relative(inRoot("kMDItemContentType == 'public.folder' && kMDItemFSNodeCount == 2"), root),
            (std::vector<std::string>{"Sub"}));
  EXPECT_EQ(relative(inRoot("kMDItemContentTypeTree == 'public.directory' AND kMDItemFSName BEGINSWITH 'D'"), root),
            (std::vector<std::string>{"Sub/Deep"}));
  EXPECT_EQ(relative(inRoot("kMDItemFSInvisible == YES AND kMDItemFSSize == 0"), root),
            (std::vector<std::string>{".dot", "listed"}));
  EXPECT_EQ(relative(inRoot("kMDItemFSOwnerUserID == %@ AND kMDItemFSName == 'a.txt'",
                            Value::list({Value::integer(::getuid())})), root),
            (std::vector<std::string>{"a.txt"}));
}

TEST_F(MetadataSearch, TagsAreAListAttribute) {
  const std::string tags = "Red,Work Stuff";
  if (::setxattr((root + "/a.txt").c_str(), "user.xdg.tags", tags.data(), tags.size(), 0) != 0)
    GTEST_SKIP() << "this file system keeps no user extended attributes";
  EXPECT_EQ(relative(inRoot("kMDItemUserTags == 'Work*'"), root), (std::vector<std::string>{"a.txt"}));
  EXPECT_EQ(relative(inRoot("kMDItemUserTags ==[c] 'red' AND kMDItemUserTags != 'Blue'"), root),
            (std::vector<std::string>{"a.txt"}));
  EXPECT_EQ(relative(inRoot("kMDItemUserTags != 'Red' AND kMDItemFSName == 'a.txt'"), root),
            std::vector<std::string>{});
  // Items without tags lack the attribute: "!=" holds for them.
  EXPECT_EQ(relative(inRoot("kMDItemUserTags != 'Red' AND kMDItemFSName LIKE '*.txt'"), root),
            (std::vector<std::string>{"B.txt", "Sub/Deep/c.txt", "Sub/b.txt"}));
}

TEST_F(MetadataSearch, DatesFromLongDateDescriptorsAndHostDates) {
  // a.txt modified at 2020-01-01, b.txt at 2024-01-01 (UTC).
  auto setTime = [](const std::string& path, std::int64_t unix) {
    timeval times[2] = {{unix, 0}, {unix, 0}};
    ASSERT_EQ(::utimes(path.c_str(), times), 0);
  };
  std::int64_t y2020 = platform::testing::unixSeconds(2020, 1, 1), y2024 = platform::testing::unixSeconds(2024, 1, 1);
  setTime(root + "/a.txt", y2020);
  setTime(root + "/Sub/b.txt", y2024);
  double y2022 = double(platform::testing::unixSeconds(2022, 1, 1)) - 978307200.0;
  Value raw = Value::descriptor(longDateFromDate(y2022));
  const char* q = "kMDItemFSContentChangeDate < %@ AND kMDItemFSName LIKE '*.txt'";
  EXPECT_EQ(relative(inRoot(q, Value::list({raw})), root), (std::vector<std::string>{"a.txt"}));
  EXPECT_EQ(relative(inRoot(q, Value::list({Value::date(y2022)})), root), (std::vector<std::string>{"a.txt"}));
  // Raw and host dates mixed in one list.
  EXPECT_EQ(relative(inRoot("kMDItemContentModificationDate BETWEEN {%@, %@}",
                            Value::list({Value::date(double(y2024) - 978307200.0 - 1), raw})),
                     root),
            std::vector<std::string>{});
  EXPECT_EQ(relative(inRoot("kMDItemFSContentChangeDate BETWEEN %@",
                            Value::list({Value::list({raw, Value::date(double(y2024) - 978307200.0)})})),
                     root),
            std::vector<std::string>{});  // a list inside the values is kept as it is: its descriptor is no date
  EXPECT_EQ(relative(inRoot("kMDItemFSContentChangeDate == %@", Value::list({Value::date(double(y2024) - 978307200.0)})),
                     root),
            (std::vector<std::string>{"Sub/b.txt"}));
}

TEST_F(MetadataSearch, ScopesAndOverlaps) {
  // Items that are no file reference are dropped: an empty scope list, no error.
  CommandError error{"untouched", 1, ""};
  Value none = query("TRUEPREDICATE", Value::list({Value::integer(3), Value::null()}), Value(), &error);
  ASSERT_TRUE(none.isList());
  EXPECT_TRUE(none.asList().empty());
  EXPECT_EQ(error.domain, "untouched");
  // Overlapping scopes report each item once; a file URL works as a folder.
  Value both = query("kMDItemFSName LIKE '*.txt'",
                     Value::list({str(root + "/Sub"), Value::url(platform::fileURLFromPath(root, true)), str(root + "/Sub/Deep")}));
  EXPECT_EQ(relative(both, root), (std::vector<std::string>{"B.txt", "Sub/Deep/c.txt", "Sub/b.txt", "a.txt"}));
  // The home scope names and their indexed forms; unknown scope names add nothing.
  ScopedEnv home("HOME", root + "/Sub");
  EXPECT_EQ(relative(query("kMDItemFSName LIKE '*.txt'", Value::list({str("kMDQueryScopeHome")})), root),
            (std::vector<std::string>{"Sub/Deep/c.txt", "Sub/b.txt"}));
  EXPECT_EQ(relative(query("kMDItemFSName LIKE '*.txt'",
                           Value::list({str("kMDQueryScopeHomeIndexed"), str("kMDQueryScopeHome"), str("kMDQueryScopeElsewhere")})),
                     root),
            (std::vector<std::string>{"Sub/Deep/c.txt", "Sub/b.txt"}));
  EXPECT_TRUE(query("TRUEPREDICATE", Value::list({str("kMDQueryScopeNowhere")})).asList().empty());
}

TEST_F(MetadataSearch, IllFormedNamesSortByTheirDecodedUnits) {
  // Without any byte at or above 0xEE: the lone 0x80 decodes to U+FFFD and
  // sorts after U+00E9, though its byte comes first.
  std::filesystem::create_directory(root + "/Odd");
  writeFile(root + "/Odd/b\x80.txt", "");
  writeFile(root + "/Odd/b\xC3\xA9.txt", "");
  EXPECT_EQ(relative(query("kMDItemFSName LIKE '*.txt'", Value::list({str(root + "/Odd")})), root),
            (std::vector<std::string>{"Odd/b\xC3\xA9.txt", "Odd/b\xEF\xBF\xBD.txt"}));
  // With them: U+1F600 before U+FF21 before the replaced byte.
  writeFile(root + "/Odd/a\x80.txt", "");
  writeFile(root + "/Odd/a\xEF\xBC\xA1.txt", "");
  writeFile(root + "/Odd/a\xF0\x9F\x98\x80.txt", "");
  EXPECT_EQ(relative(query("kMDItemFSName BEGINSWITH 'a'", Value::list({str(root + "/Odd")})), root),
            (std::vector<std::string>{"Odd/a\xF0\x9F\x98\x80.txt", "Odd/a\xEF\xBC\xA1.txt", "Odd/a\xEF\xBF\xBD.txt"}));
}

TEST_F(MetadataSearch, UnreadableFoldersAreSkipped) {
  std::filesystem::create_directories(root + "/Closed/Inner");
  writeFile(root + "/Closed/secret.txt", "");
  writeFile(root + "/Closed/Inner/deeper.txt", "");
  ::chmod(root.c_str(), 0755);
  ::chmod((root + "/Closed").c_str(), 0000);
  // The walk reports the closed folder itself, enters nothing below it, and
  // goes on with the rest of the tree.
  EXPECT_TRUE(files::testing::passesUnprivileged([&] {
    CommandError error{"untouched", 1, ""};
    Value found = query("kMDItemFSName LIKE '*.txt' OR kMDItemFSName == 'Closed'", Value::list({str(root)}), Value(), &error);
    return error.domain == "untouched" &&
           relative(found, root) == std::vector<std::string>{"B.txt", "Closed", "Sub/Deep/c.txt", "Sub/b.txt", "a.txt"};
  }));
  ::chmod((root + "/Closed").c_str(), 0755);
  // The administrator reads it: the same query then sees the files below.
  if (::geteuid() == 0) {
    EXPECT_EQ(relative(inRoot("kMDItemFSName LIKE '*.txt' AND kMDItemPath CONTAINS '/Closed/'"), root),
              (std::vector<std::string>{"Closed/Inner/deeper.txt", "Closed/secret.txt"}));
  }
}

TEST(MetadataSearchScopes, ComputerAndNetworkScopesFromAMountsTable) {
  const std::string table =
      "proc /proc proc rw,nosuid,nodev,noexec,relatime 0 0\n"
      "sysfs /sys sysfs rw,nosuid,nodev,noexec,relatime 0 0\n"
      "devtmpfs /dev devtmpfs rw,nosuid,size=4096k 0 0\n"
      "cgroup2 /sys/fs/cgroup cgroup2 rw,nosuid 0 0\n"
      "tmpfs /run tmpfs rw,nosuid,nodev,mode=755 0 0\n"
      "tmpfs /run/user/1000 tmpfs rw,nosuid,nodev 0 0\n"
      "/dev/sda1 / ext4 rw,relatime 0 0\n"
      "/dev/sda2 /home/My\\040Disk ext4 rw,relatime 0 0\n"
      "tmpfs /tmp tmpfs rw,nosuid,nodev 0 0\n"
      "server:/export /mnt/nfs nfs rw,vers=3 0 0\n"
      "server:/export4 /mnt/nfs4 nfs4 rw 0 0\n"
      "//server/share /mnt/share cifs rw,vers=3.0 0 0\n"
      "\n"
      "short\n";
  EXPECT_EQ(services::mountPointsFromTable(table, false),
            (std::vector<std::string>{"/", "/home/My Disk", "/tmp"}));
  EXPECT_EQ(services::mountPointsFromTable(table, true),
            (std::vector<std::string>{"/mnt/nfs", "/mnt/nfs4", "/mnt/share"}));
  EXPECT_TRUE(services::mountPointsFromTable("", false).empty());
  // A cut-off escape stays as written.
  EXPECT_EQ(services::mountPointsFromTable("srv:/e /mnt/a\\04 nfs rw 0 0", true), (std::vector<std::string>{"/mnt/a\\04"}));
}

TEST_F(MetadataSearch, ErrorsInTheirOrder) {
  auto errorOf = [&](Value q, Value folders) {
    CommandError e;
    Value r = KRVForder::runSpotlightQuery_inFolders_error_(q, folders, &e);
    EXPECT_TRUE(r.isNothing());
    EXPECT_EQ(e.domain, bundleIdentifier());
    EXPECT_EQ(e.code, 10000);
    return e.message;
  };
  Value folders = Value::list({str(root)});
  EXPECT_EQ(errorOf(str("kMDItemFSName =="), folders), "Invalid query string.");
  EXPECT_EQ(errorOf(str("kMDItemFSName =="), Value()), "Invalid query string.");  // the query is checked first
  EXPECT_EQ(errorOf(Value(), folders), "Invalid query string.");
  EXPECT_EQ(errorOf(str("kMDItemFSName == %@"), folders), "Invalid query string.");  // no values to take
  EXPECT_EQ(errorOf(str("TRUEPREDICATE"), Value()), "No search folders specified.");
  EXPECT_EQ(errorOf(str("TRUEPREDICATE"), Value::list({})), "No search folders specified.");
  // Without an out-parameter the command still returns no value.
  EXPECT_TRUE(KRVForder::runSpotlightQuery_inFolders_error_(str("("), folders, nullptr).isNothing());
}

TEST_F(MetadataSearch, TimesOutWhileWalking) {
  for (int i = 0; i < 600; ++i) writeFile(root + "/f" + std::to_string(i), "");
  auto previous = services::queryTimeLimit();
  services::setQueryTimeLimitForTesting(std::chrono::microseconds(1));
  CommandError e;
  Value r = query("kMDItemFSName == 'nothing'", Value::list({str(root)}), Value(), &e);
  services::setQueryTimeLimitForTesting(previous);
  EXPECT_TRUE(r.isNothing());
  EXPECT_EQ(e.message, "Query timed out.");
  EXPECT_FALSE(query("kMDItemFSName == 'f1'", Value::list({str(root)})).isNothing());
}

TEST_F(MetadataSearch, DataForAFileWhoseNameRepeatsDeeper) {
  writeFile(root + "/Sub/a.txt", "deeper!");
  Value record = KRVForder::spotlightDataFor_(str(root + "/Sub/b.txt"));
  ASSERT_TRUE(record.isRecord());
  EXPECT_EQ(field(record, u"kMDItemFSSize").asInteger(), 2);
  EXPECT_EQ(field(record, u"kMDItemPath").toUtf8(), root + "/Sub/b.txt");
  EXPECT_TRUE(field(record, u"kMDItemFSContentChangeDate").isDate());
  EXPECT_TRUE(field(record, u"kMDItemPixelWidth").isNothing());
  // "a.txt" occurs at the top and in Sub: the first of the sorted matches answers.
  Value repeated = KRVForder::spotlightDataFor_(str(root + "/a.txt"));
  ASSERT_TRUE(repeated.isRecord());
  EXPECT_EQ(field(repeated, u"kMDItemPath").toUtf8(), root + "/Sub/a.txt");
  EXPECT_EQ(field(repeated, u"kMDItemFSSize").asInteger(), 7);
  // A folder has no size but a node count.
  Value folder = KRVForder::spotlightDataFor_(str(root + "/Sub/Deep"));
  ASSERT_TRUE(folder.isRecord());
  EXPECT_TRUE(field(folder, u"kMDItemFSSize").isNothing());
  EXPECT_EQ(field(folder, u"kMDItemFSNodeCount").asInteger(), 1);
  EXPECT_TRUE(KRVForder::spotlightDataFor_(Value()).isNothing());
  EXPECT_TRUE(KRVForder::spotlightDataFor_(str(root + "/missing")).isNothing());
  EXPECT_TRUE(KRVForder::spotlightDataFor_(Value::integer(4)).isNothing());
}

TEST_F(MetadataSearch, ImageAndTextAttributes) {
  files::testing::writeJpeg(root + "/shot.jpg", 4000, 3000);
  files::testing::writeSampleMetadata(root + "/shot.jpg");
  files::testing::writeJpeg(root + "/plain.jpeg", 640, 480);
  writeFile(root + "/notes.txt", "Invoice n\xc2\xb0 12 from Caf\xc3\xa9 \xff end");
  writeFile(root + "/data.bin", "invoice");
  EXPECT_EQ(relative(inRoot("kMDItemContentTypeTree == 'public.image' && kMDItemPixelWidth > 3000"), root),
            (std::vector<std::string>{"shot.jpg"}));
  EXPECT_EQ(relative(inRoot("kMDItemPixelHeight == 480"), root), (std::vector<std::string>{"plain.jpeg"}));
  EXPECT_EQ(relative(inRoot("kMDItemAcquisitionMake == 'Tessaro*' AND kMDItemAcquisitionModel == 'T-1' AND "
                            "kMDItemOrientation == 6 AND kMDItemISOSpeed == 400 AND kMDItemFNumber == 2.8 AND "
                            "kMDItemExposureTimeSeconds == 0.005"), root),
            (std::vector<std::string>{"shot.jpg"}));
  EXPECT_EQ(relative(inRoot("kMDItemLatitude BETWEEN {48.85, 48.86} AND kMDItemLongitude > 2.29 AND "
                            "kMDItemLongitude < 2.30 AND kMDItemAltitude == 35.5"), root),
            (std::vector<std::string>{"shot.jpg"}));
  // The original date of the picture, in the local time of the camera.
  std::tm t{};
  t.tm_year = 124, t.tm_mon = 4, t.tm_mday = 1, t.tm_hour = 10, t.tm_min = 20, t.tm_sec = 30, t.tm_isdst = -1;
  double taken = double(std::mktime(&t)) - 978307200.0;
  EXPECT_EQ(relative(inRoot("kMDItemContentCreationDate == %@", Value::list({Value::date(taken)})), root),
            (std::vector<std::string>{"shot.jpg"}));
  // Text content only for text files; invalid bytes are replaced, not fatal.
  EXPECT_EQ(relative(inRoot("kMDItemTextContent CONTAINS[cd] 'invoice'"), root), (std::vector<std::string>{"notes.txt"}));
  EXPECT_EQ(relative(inRoot("kMDItemTextContent CONTAINS[cd] 'cafe \uFFFD end'"), root),
            (std::vector<std::string>{"notes.txt"}));
  Value record = KRVForder::spotlightDataFor_(str(root + "/shot.jpg"));
  ASSERT_TRUE(record.isRecord());
  EXPECT_EQ(field(record, u"kMDItemPixelWidth").integerValue(), 4000);
  EXPECT_EQ(field(record, u"kMDItemKind").toUtf8(), "JPEG image");
  EXPECT_TRUE(field(record, u"kMDItemTextContent").isNothing());
}

}  // namespace
}  // namespace tessaro
