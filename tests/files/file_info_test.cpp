#include <cmath>
#include <filesystem>
#include <gtest/gtest.h>
#include <set>

#include "files/type_identifiers.hpp"
#include "files_test_support.hpp"
#include "test_images.hpp"
#include "tessaro/krv_forder.hpp"

namespace tessaro {
namespace {

namespace fs = std::filesystem;
using files::testing::ScratchFolder;
using files::testing::writeFile;

Value str(const std::string& s) { return Value::fromUtf8(s); }
const Value* field(const Value& record, const char* key) {
  return record.isRecord() ? record.asRecord().find(Value::fromUtf8(key).asString()) : nullptr;
}
std::vector<std::string> keysOf(const Value& record) {
  std::vector<std::string> keys;
  for (const auto& [k, v] : record.asRecord().entries()) keys.push_back(k.toUtf8());
  return keys;
}

TEST(FileInfo, AttributesUnderShortNamesAndNothingForAMissingFile) {
  ScratchFolder scratch;
  writeFile(scratch / "photo.jpg", "x");
  Value info = KRVForder::infoForFile_(str(scratch / "photo.jpg"));
  ASSERT_TRUE(info.isRecord());
  for (const std::string& key : keysOf(info)) EXPECT_EQ(key.find("NSURL"), std::string::npos) << key;
  EXPECT_EQ(*field(info, "name"), str("photo.jpg"));
  EXPECT_EQ(*field(info, "path"), str(scratch / "photo.jpg"));
  EXPECT_EQ(*field(info, "isDirectory"), Value::boolean(false));
  EXPECT_EQ(*field(info, "localizedTypeDescription"), str("JPG image"));
  EXPECT_TRUE(field(info, "contentModificationDate")->isDate());
  EXPECT_EQ(field(info, "tagNames"), nullptr);  // no tags, no entry
  EXPECT_LE(info.asRecord().size(), 28u);

  EXPECT_EQ(KRVForder::infoForFile_(str(scratch / "missing")), Value::record(Record()));
  EXPECT_EQ(KRVForder::infoForFile_(Value::integer(1)), Value::record(Record()));
}

TEST(FileInfo, SizesOfFilesFoldersAndPackages) {
  ScratchFolder scratch;
  writeFile(scratch / "f", std::string(1000, 'f'));
  fs::create_directories(scratch / "Empty");
  fs::create_directories(scratch / "Kit.app/Contents");
  writeFile(scratch / "Kit.app/Contents/.bin", std::string(300, 'b'));

  Value file = KRVForder::sizeInfoForFile_(str(scratch / "f"));
  EXPECT_EQ(keysOf(file), (std::vector<std::string>{"fileSize", "fileAllocatedSize", "totalFileAllocatedSize", "totalFileSize"}));
  EXPECT_EQ(*field(file, "fileSize"), Value::integer(1000));
  EXPECT_EQ(KRVForder::sizeInfoForFile_(str(scratch / "Empty")),
            Value::record(Record{{u"totalFileSize", Value::integer(0)}, {u"totalFileAllocatedSize", Value::integer(0)}}));
  // A package is summed like a folder, its hidden contents included.
  Value package = KRVForder::sizeInfoForFile_(str(scratch / "Kit.app"));
  EXPECT_EQ(keysOf(package), (std::vector<std::string>{"totalFileSize", "totalFileAllocatedSize"}));
  EXPECT_EQ(*field(package, "totalFileSize"), Value::integer(300));
  EXPECT_EQ(*field(KRVForder::sizeInfoForFile_(str(scratch.path())), "totalFileSize"), Value::integer(1300));
  EXPECT_EQ(KRVForder::sizeInfoForFile_(str(scratch / "missing")), Value::record(Record()));
}

TEST(TypeIdentifiers, DeclaredExtensionsInAnyCaseAndDynamicOnesForTheRest) {
  EXPECT_EQ(KRVForder::UTIForExtension_(str("jpg")), str("public.jpeg"));
  EXPECT_EQ(KRVForder::UTIForExtension_(str(".jpg")), str("public.jpeg"));
  EXPECT_EQ(KRVForder::UTIForExtension_(str("JPEG")), str("public.jpeg"));
  EXPECT_EQ(KRVForder::UTIForExtension_(str("csv")), str("public.comma-separated-values-text"));
  EXPECT_EQ(KRVForder::UTIForExtension_(str("app")), str("com.apple.application-bundle"));
  // Only one dot is dropped, so "..jpg" asks about the extension ".jpg".
  Value dotted = KRVForder::UTIForExtension_(str("..jpg"));
  EXPECT_TRUE(dotted.toUtf8().starts_with("dyn.a"));
  EXPECT_NE(dotted, KRVForder::UTIForExtension_(str("jpg")));
  // Dynamic identifiers: a fixed encoding of "?0=6:1=<extension>".
  EXPECT_EQ(files::dynamicTypeIdentifier("xyz"), "dyn.ah62d4rv4ge81u8p4");
  EXPECT_EQ(KRVForder::UTIForExtension_(str("xyz")), str("dyn.ah62d4rv4ge81u8p4"));
  EXPECT_NE(files::dynamicTypeIdentifier("xyz"), files::dynamicTypeIdentifier("xzz"));
  EXPECT_TRUE(KRVForder::UTIForExtension_(Value()).isNothing());

  std::set<std::string_view> extensions;
  for (const files::DeclaredType& t : files::declaredTypes()) {
    EXPECT_TRUE(extensions.insert(t.extension).second) << t.extension;
    EXPECT_EQ(files::typeIdentifierForExtension(t.extension), t.identifier);
  }
  EXPECT_GE(extensions.size(), 150u);
}

TEST(TypeIdentifiers, ItemsAreTypedByWhatTheyAreAndTheirExtension) {
  ScratchFolder scratch;
  writeFile(scratch / "a.png", "");
  writeFile(scratch / "plain", "");
  fs::create_directories(scratch / "Dir");
  fs::create_directories(scratch / "Tool.app");
  fs::create_symlink("a.png", scratch / "link");
  Value types = KRVForder::resourceValueForKey_forURLsOrFiles_(
      str("NSURLTypeIdentifierKey"), Value::list({str(scratch / "a.png"), str(scratch / "plain"), str(scratch / "Dir"),
                                                  str(scratch / "Tool.app"), str(scratch / "link")}));
  EXPECT_EQ(types, Value::list({str("public.png"), str("public.data"), str("public.folder"),
                                str("com.apple.application-bundle"), str("public.symlink")}));
}

class ImageMetadata : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_FALSE(scratch.path().empty()); }
  Value read(const std::string& path) { return KRVForder::metadataFromImage_error_(str(path), &error); }
  ScratchFolder scratch;
  CommandError error;
};

TEST_F(ImageMetadata, AJpegWithExifGpsAndIptc) {
  const std::string path = scratch / "photo.jpg";
  files::testing::writeJpeg(path, 3, 2);
  files::testing::writeSampleMetadata(path);
  Value p = read(path);
  ASSERT_TRUE(p.isRecord()) << error.message;
  EXPECT_EQ(*field(p, "PixelWidth"), Value::integer(3));
  EXPECT_EQ(*field(p, "PixelHeight"), Value::integer(2));
  EXPECT_EQ(*field(p, "Depth"), Value::integer(8));
  EXPECT_EQ(*field(p, "ColorModel"), str("RGB"));
  EXPECT_EQ(*field(p, "DPIWidth"), Value::integer(72));
  EXPECT_EQ(*field(p, "Orientation"), Value::integer(6));

  const Value& tiff = *field(p, "{TIFF}");
  EXPECT_EQ(*field(tiff, "Make"), str("Tessaro Optics"));
  EXPECT_EQ(*field(tiff, "Model"), str("T-1"));
  const Value& exif = *field(p, "{Exif}");
  EXPECT_EQ(*field(exif, "ExposureTime"), Value::real(0.005));
  EXPECT_EQ(*field(exif, "FNumber"), Value::real(2.8));
  EXPECT_EQ(*field(exif, "ISOSpeedRatings"), Value::list({Value::integer(400)}));
  EXPECT_EQ(*field(exif, "DateTimeOriginal"), str("2024:05:01 10:20:30"));
  const Value& gps = *field(p, "{GPS}");
  EXPECT_NEAR(field(gps, "Latitude")->asReal(), 48 + 51 / 60.0 + 29.5 / 3600, 1e-9);
  EXPECT_EQ(*field(gps, "LatitudeRef"), str("N"));
  EXPECT_NEAR(field(gps, "Longitude")->asReal(), 2 + 17 / 60.0 + 40 / 3600.0, 1e-9);
  EXPECT_EQ(*field(gps, "Altitude"), Value::real(35.5));
  EXPECT_EQ(*field(gps, "GPSVersion"),
            Value::list({Value::integer(2), Value::integer(2), Value::integer(0), Value::integer(0)}));
  const Value& iptc = *field(p, "{IPTC}");
  EXPECT_EQ(*field(iptc, "Keywords"), Value::list({str("tower"), str("night")}));
  EXPECT_EQ(*field(iptc, "City"), str("Paris"));
  const Value& jfif = *field(p, "{JFIF}");
  EXPECT_EQ(*field(jfif, "XDensity"), Value::integer(72));
  EXPECT_EQ(*field(jfif, "IsProgressive"), Value::boolean(false));
}

TEST_F(ImageMetadata, APngWithDensityAlphaAndText) {
  const std::string path = scratch / "pic.png";
  files::testing::writePng(path, 5, 4, 3780);
  Value p = read(path);
  ASSERT_TRUE(p.isRecord()) << error.message;
  EXPECT_EQ(*field(p, "PixelWidth"), Value::integer(5));
  EXPECT_EQ(*field(p, "PixelHeight"), Value::integer(4));
  EXPECT_EQ(*field(p, "DPIWidth"), Value::integer(96));
  EXPECT_EQ(*field(p, "HasAlpha"), Value::boolean(true));
  const Value& png = *field(p, "{PNG}");
  EXPECT_EQ(*field(png, "XPixelsPerMeter"), Value::integer(3780));
  EXPECT_EQ(*field(png, "Title"), str("Sample"));
  EXPECT_EQ(field(p, "{Exif}"), nullptr);
}

TEST_F(ImageMetadata, FailuresInTheLibrarysDomain) {
  writeFile(scratch / "notes.txt", "not an image at all");
  EXPECT_TRUE(read(scratch / "notes.txt").isNothing());
  EXPECT_EQ(error, (CommandError{"KRVErrorDomain", -10000, "Image could not be read."}));
  EXPECT_TRUE(read(scratch / "missing.jpg").isNothing());
  EXPECT_EQ(error.message, "Image could not be read.");
  EXPECT_TRUE(KRVForder::metadataFromImage_error_(Value::list({}), &error).isNothing());
  EXPECT_EQ(error, (CommandError{"KRVErrorDomain", -10000, "No such file found."}));
  // Truncated headers are never read past their end (the sanitizers watch):
  // what little can be read has no size.
  files::testing::writeJpeg(scratch / "cut.jpg", 3, 2);
  std::string bytes = files::testing::readFile(scratch / "cut.jpg");
  for (std::size_t length : {3, 12, 25, 38}) {
    writeFile(scratch / "cut.jpg", bytes.substr(0, length));
    Value cut = KRVForder::metadataFromImage_error_(str(scratch / "cut.jpg"), nullptr);
    EXPECT_TRUE(cut.isNothing() || field(cut, "PixelWidth") == nullptr) << length;
  }
}

}  // namespace
}  // namespace tessaro
