#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include "files_test_support.hpp"
#include "platform/file_attributes.hpp"
#include "tessaro/krv_forder.hpp"

namespace tessaro {
namespace {

using files::testing::makeSampleTree;
using files::testing::ScratchFolder;

Value str(const std::string& s) { return Value::fromUtf8(s); }
Value keys(std::initializer_list<const char*> names) {
  std::vector<Value> list;
  for (const char* n : names) list.push_back(str(n));
  return Value::list(std::move(list));
}
const Value* field(const Value& record, const char* key) {
  return record.isRecord() ? record.asRecord().find(Value::fromUtf8(key).asString()) : nullptr;
}
// The record in `records` whose path ends with `name`.
Value recordFor(const Value& records, const std::string& name) {
  for (const Value& r : records.asList())
    if (const Value* p = field(r, "NSURLPathKey"); p && p->toUtf8().ends_with("/" + name)) return r;
  return Value();
}

class ResourceValues : public files::testing::SampleTreeTest {};

TEST_F(ResourceValues, ListedItemsKeepTheirPlacesWithNullForWhatCannotBeRead) {
  Value items = Value::list({str(root + "/a.txt"), str(root + "/missing"), Value::integer(4), str(root + "/Sub")});
  Value sizes = KRVForder::resourceValueForKey_forURLsOrFiles_(str("NSURLFileSizeKey"), items);
  ASSERT_EQ(sizes.asList().size(), 4u);
  EXPECT_EQ(sizes.asList()[0], Value::integer(5));
  EXPECT_TRUE(sizes.asList()[1].isNull());
  EXPECT_TRUE(sizes.asList()[2].isNull());
  EXPECT_TRUE(sizes.asList()[3].isNull());  // a folder has no size of its own

  Value records = KRVForder::resourceValuesForKeys_forURLsOrFiles_(keys({"NSURLIsDirectoryKey", "NoSuchKey"}), items);
  ASSERT_EQ(records.asList().size(), 4u);
  EXPECT_EQ(records.asList()[0].asRecord().size(), 2u);  // the path is always added; unknown keys stay absent
  EXPECT_EQ(*field(records.asList()[0], "NSURLPathKey"), str(root + "/a.txt"));
  EXPECT_TRUE(records.asList()[1].isNull());
  EXPECT_TRUE(records.asList()[2].isNull());
  EXPECT_EQ(*field(records.asList()[3], "NSURLIsDirectoryKey"), Value::boolean(true));
  // The one-key command does not add the path.
  Value unknown = KRVForder::resourceValueForKey_forURLsOrFiles_(str("NoSuchKey"), items);
  EXPECT_TRUE(unknown.asList()[0].isNull());
}

TEST_F(ResourceValues, FileRecordsKeepThePackageFlagFolderRecordsOnlyThePath) {
  Value fileRecords = KRVForder::resourceValuesForKeys_forFilesIn_recursive_(keys({"NSURLFileSizeKey"}), str(root),
                                                                             Value::boolean(false));
  ASSERT_EQ(fileRecords.asList().size(), 3u);  // a.txt, Tool.app, link
  Value app = recordFor(fileRecords, "Tool.app");
  EXPECT_EQ(*field(app, "NSURLIsPackageKey"), Value::boolean(true));
  EXPECT_EQ(field(app, "NSURLIsDirectoryKey"), nullptr);
  EXPECT_EQ(field(app, "NSURLFileSizeKey"), nullptr);
  EXPECT_EQ(*field(recordFor(fileRecords, "a.txt"), "NSURLFileSizeKey"), Value::integer(5));

  Value folderRecords = KRVForder::resourceValuesForKeys_forFoldersIn_recursive_(keys({}), str(root), Value::boolean(true));
  ASSERT_EQ(folderRecords.asList().size(), 2u);
  for (const Value& r : folderRecords.asList()) EXPECT_EQ(r.asRecord().size(), 1u);
  // Keys the script asked for itself stay.
  Value asked = KRVForder::resourceValuesForKeys_forFoldersIn_recursive_(keys({"NSURLIsDirectoryKey"}), str(root),
                                                                         Value::boolean(false));
  EXPECT_EQ(*field(asked.asList()[0], "NSURLIsDirectoryKey"), Value::boolean(true));
}

TEST_F(ResourceValues, AttributesComeFromTheItemItself) {
  const std::string file = root + "/a.txt";
  timespec times[2] = {{1700000000, 250000000}, {1600000000, 500000000}};  // access, modification
  ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
  Value r = KRVForder::resourceValuesForKeys_forURLsOrFiles_(
                keys({"NSURLContentModificationDateKey", "NSURLContentAccessDateKey", "NSURLNameKey",
                      "NSURLIsRegularFileKey", "NSURLFileResourceTypeKey", "NSURLLinkCountKey",
                      "NSURLParentDirectoryURLKey", "NSURLIsHiddenKey", "NSURLIsReadableKey", "NSURLIsExecutableKey"}),
                Value::list({str(file)}))
                .asList()[0];
  EXPECT_EQ(*field(r, "NSURLContentModificationDateKey"), Value::date(1600000000.5 - 978307200));
  EXPECT_EQ(*field(r, "NSURLContentAccessDateKey"), Value::date(1700000000.25 - 978307200));
  EXPECT_EQ(*field(r, "NSURLNameKey"), str("a.txt"));
  EXPECT_EQ(*field(r, "NSURLIsRegularFileKey"), Value::boolean(true));
  EXPECT_EQ(*field(r, "NSURLFileResourceTypeKey"), str("NSFileTypeRegular"));
  EXPECT_EQ(*field(r, "NSURLLinkCountKey"), Value::integer(1));
  EXPECT_EQ(*field(r, "NSURLParentDirectoryURLKey"), Value::url("file://" + root + "/"));
  EXPECT_EQ(*field(r, "NSURLIsHiddenKey"), Value::boolean(false));
  EXPECT_EQ(*field(r, "NSURLIsReadableKey"), Value::boolean(true));
  EXPECT_EQ(*field(r, "NSURLIsExecutableKey"), Value::boolean(false));

  Value link = KRVForder::resourceValuesForKeys_forURLsOrFiles_(
                   keys({"NSURLIsSymbolicLinkKey", "NSURLIsAliasFileKey", "NSURLIsDirectoryKey", "NSURLFileResourceTypeKey"}),
                   Value::list({str(root + "/link")}))
                   .asList()[0];
  EXPECT_EQ(*field(link, "NSURLIsSymbolicLinkKey"), Value::boolean(true));
  EXPECT_EQ(*field(link, "NSURLIsAliasFileKey"), Value::boolean(true));
  EXPECT_EQ(*field(link, "NSURLIsDirectoryKey"), Value::boolean(false));
  EXPECT_EQ(*field(link, "NSURLFileResourceTypeKey"), str("NSFileTypeSymbolicLink"));
}

TEST_F(ResourceValues, HiddenByDotOrByTheFoldersHiddenList) {
  Value hidden = KRVForder::resourceValueForKey_forURLsOrFiles_(
      str("NSURLIsHiddenKey"), Value::list({str(root + "/.dot"), str(root + "/listed"), str(root + "/Sub")}));
  EXPECT_EQ(hidden, Value::list({Value::boolean(true), Value::boolean(true), Value::boolean(false)}));
}

TEST_F(ResourceValues, TagNamesComeFromTheDesktopsExtendedAttribute) {
  const std::string file = root + "/a.txt";
  const char tags[] = "Red,Work, Later";
  if (::setxattr(file.c_str(), "user.xdg.tags", tags, sizeof tags - 1, 0) != 0)
    GTEST_SKIP() << "no user extended attributes on this file system";
  Value values = KRVForder::resourceValueForKey_forURLsOrFiles_(str("NSURLTagNamesKey"),
                                                                Value::list({str(file), str(root + "/Sub")}));
  EXPECT_EQ(values.asList()[0], Value::list({str("Red"), str("Work"), str("Later")}));
  EXPECT_TRUE(values.asList()[1].isNull());
}

TEST_F(ResourceValues, FolderSizeSumsEverythingInsideHiddenItemsAndPackagesToo) {
  Value sizes = KRVForder::KRV_folderSizeOfURL_(Value::url("file://" + root + "/"));
  // a.txt 5, .dot 0, listed 0, .hidden 7, b.txt 2, c.txt 3, x 4, the link's own size (3: "Sub")
  EXPECT_EQ(*field(sizes, "NSURLTotalFileSizeKey"), Value::integer(5 + 7 + 2 + 3 + 4 + 3));
  EXPECT_GT(field(sizes, "NSURLTotalFileAllocatedSizeKey")->asInteger(), 0);
  Value missing = KRVForder::KRV_folderSizeOfURL_(Value::url("file://" + root + "/missing/"));
  EXPECT_EQ(missing, Value::record(Record{{u"NSURLTotalFileSizeKey", Value::integer(0)},
                                          {u"NSURLTotalFileAllocatedSizeKey", Value::integer(0)}}));
}

}  // namespace
}  // namespace tessaro
