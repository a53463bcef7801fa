// Metadata attributes of file-system items; see metadata_attributes.hpp.
#include "platform/metadata_attributes.hpp"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>

#include <fstream>

#include "files/type_identifiers.hpp"
#include "platform/image_properties.hpp"

namespace tessaro::platform {

namespace {

constexpr double kUnixToReferenceDate = 978307200.0;  // seconds from 1970 to 2001
constexpr std::size_t kTextContentLimit = 10 * 1024 * 1024;

const Value* fieldOf(const Value& record, std::u16string_view key) {
  return record.isRecord() ? record.asRecord().find(key) : nullptr;
}

// An EXIF date ("2024:05:01 10:20:30", the camera's local time) as a date.
Value exifDate(const Value& text) {
  if (!text.isString()) return Value();
  std::string s = text.toUtf8();
  std::tm t{};
  if (std::sscanf(s.c_str(), "%d:%d:%d %d:%d:%d", &t.tm_year, &t.tm_mon, &t.tm_mday, &t.tm_hour, &t.tm_min,
                  &t.tm_sec) != 6)
    return Value();
  t.tm_year -= 1900;
  t.tm_mon -= 1;
  t.tm_isdst = -1;
  std::time_t seconds = std::mktime(&t);
  if (seconds == std::time_t(-1)) return Value();
  return Value::date(double(seconds) - kUnixToReferenceDate);
}

Value dateFromUnix(double seconds) { return Value::date(seconds - kUnixToReferenceDate); }

Value stringList(const std::vector<std::string>& items) {
  std::vector<Value> out;
  for (const std::string& s : items) out.push_back(Value::fromUtf8(s));
  return Value::list(std::move(out));
}

// The identifiers an identifier conforms to, most specific first, ending with
// the roots every file has.
std::vector<std::string> conformingTypes(std::string identifier, const files::DeclaredType* declared) {
  std::vector<std::string> tree{identifier};
  auto add = [&](std::string_view t) {
    for (const std::string& have : tree)
      if (have == t) return;
    tree.emplace_back(t);
  };
  bool content = false;
  if (declared) {
    switch (declared->kind) {
      case files::TypeKind::image: add("public.image"); content = true; break;
      case files::TypeKind::audio: add("public.audio"); add("public.audiovisual-content"); content = true; break;
      case files::TypeKind::movie: add("public.movie"); add("public.audiovisual-content"); content = true; break;
      case files::TypeKind::text: add("public.text"); content = true; break;
      case files::TypeKind::source: add("public.source-code"); add("public.plain-text"); add("public.text"); content = true; break;
      case files::TypeKind::script: add("public.script"); add("public.source-code"); add("public.plain-text"); add("public.text"); content = true; break;
      case files::TypeKind::archive: add("public.archive"); break;
      case files::TypeKind::document: content = true; break;
      case files::TypeKind::font: add("public.font"); break;
      case files::TypeKind::bundle: add("com.apple.package"); add("public.directory"); add("public.item"); return tree;
      case files::TypeKind::data: break;
    }
  }
  add("public.data");
  add("public.item");
  if (content) add("public.content");
  return tree;
}

// The kind shown for a file: the common types by their identifier, so that
// every extension of one type reads the same; others as the desktop describes
// the extension.
std::string kindOf(std::string_view identifier, const std::string& ext) {
  static const std::pair<std::string_view, std::string_view> kNamed[] = {
      {"public.jpeg", "JPEG image"}, {"public.png", "PNG image"},       {"public.tiff", "TIFF image"},
      {"public.plain-text", "Plain Text"}, {"com.adobe.pdf", "PDF document"}, {"public.html", "HTML text"}};
  for (const auto& [id, kind] : kNamed)
    if (id == identifier) return std::string(kind);
  return ext.empty() ? "Document" : files::typeDescription(ext);
}

}  // namespace

MetadataItem::MetadataItem(const std::string& path, unsigned char dirType) : path_(path), type_(dirType) {}

const std::optional<FileStatus>& MetadataItem::status() {
  if (!statusRead_) {
    status_ = readFileStatus(path_);
    statusRead_ = true;
  }
  return status_;
}

bool MetadataItem::isFolder() {
  if (type_ == DT_UNKNOWN) {
    const auto& s = status();
    if (!s) return false;
    return S_ISDIR(s->mode);
  }
  return type_ == DT_DIR;
}

std::string_view MetadataItem::name() const { return lastPathComponent(path_); }

std::string MetadataItem::extension() const {
  std::string_view n = name();
  std::size_t dot = n.rfind('.');
  if (dot == std::string_view::npos || dot == 0) return {};
  return std::string(n.substr(dot + 1));
}

Value MetadataItem::attribute(std::u16string_view key) {
  if (key == u"kMDItemFSName" || key == u"kMDItemDisplayName") return Value::fromUtf8(name());
  if (key == u"kMDItemPath") return Value::fromUtf8(path_);
  if (key == u"kMDItemContentType" || key == u"kMDItemContentTypeTree" || key == u"kMDItemKind") {
    if (isFolder()) {
      if (key == u"kMDItemContentType") return Value::string(u"public.folder");
      if (key == u"kMDItemKind") return Value::string(u"Folder");
      return Value::list({Value::string(u"public.folder"), Value::string(u"public.directory"), Value::string(u"public.item")});
    }
    std::string ext = extension();
    const files::DeclaredType* declared = ext.empty() ? nullptr : files::declaredTypeForExtension(ext);
    std::string identifier = ext.empty() ? "public.data" : files::typeIdentifierForExtension(ext);
    if (key == u"kMDItemContentType") return Value::fromUtf8(identifier);
    if (key == u"kMDItemKind") return Value::fromUtf8(kindOf(identifier, ext));
    return stringList(conformingTypes(identifier, declared));
  }
  if (key == u"kMDItemTextContent") {
    if (isFolder()) return Value();
    std::vector<std::string> tree = typeTree();
    if (std::find(tree.begin(), tree.end(), "public.text") == tree.end()) return Value();
    std::ifstream in(path_, std::ios::binary);
    if (!in) return Value();
    std::string bytes(kTextContentLimit, '\0');
    in.read(bytes.data(), std::streamsize(bytes.size()));
    bytes.resize(std::size_t(in.gcount()));
    return Value::fromUtf8(bytes);
  }
  if ((key == u"kMDItemPixelWidth" || key == u"kMDItemPixelHeight" ||
                                      key == u"kMDItemOrientation" || key == u"kMDItemAcquisitionMake" ||
                                      key == u"kMDItemAcquisitionModel" || key == u"kMDItemExposureTimeSeconds" ||
                                      key == u"kMDItemFNumber" || key == u"kMDItemISOSpeed" ||
                                      key == u"kMDItemFocalLength" || key == u"kMDItemLatitude" ||
                                      key == u"kMDItemLongitude" || key == u"kMDItemAltitude"))
    return imageAttribute(key);
  if (key == u"kMDItemContentCreationDate") {
    Value taken = imageAttribute(key);
    if (!taken.isNothing()) return taken;
    const std::optional<FileStatus>& s = status();
    return s && s->birthTime ? dateFromUnix(*s->birthTime) : Value();
  }
  if (key == u"kMDItemUserTags") {
    std::optional<std::vector<std::string>> tags = readTagNames(path_);
    if (!tags || tags->empty()) return Value();
    return stringList(*tags);
  }
  if (key == u"kMDItemFSInvisible") return Value::boolean(name().starts_with('.') || isHiddenItem(path_));
  if (key == u"kMDItemFSNodeCount") {
    if (!isFolder()) return Value();
    DIR* dir = ::opendir(path_.c_str());
    if (!dir) return Value();
    std::int64_t count = 0;
    while (dirent* e = ::readdir(dir))
      if (std::string_view(e->d_name) != "." && std::string_view(e->d_name) != "..") ++count;
    ::closedir(dir);
    return Value::integer(count);
  }
  // Everything else comes from the item's status.
  static const std::u16string_view statusKeys[] = {
      u"kMDItemFSSize", u"kMDItemLogicalSize", u"kMDItemPhysicalSize", u"kMDItemFSOwnerUserID",
      u"kMDItemFSOwnerGroupID", u"kMDItemFSCreationDate", u"kMDItemFSContentChangeDate",
      u"kMDItemContentModificationDate", u"kMDItemLastUsedDate", u"kMDItemDateAdded"};
  bool known = false;
  for (std::u16string_view k : statusKeys) known = known || k == key;
  if (!known) return Value();
  const std::optional<FileStatus>& s = status();
  if (!s) return Value();
  bool folder = S_ISDIR(s->mode);
  if (key == u"kMDItemFSSize" || key == u"kMDItemLogicalSize")
    return folder ? Value() : Value::integer(std::int64_t(s->size));
  if (key == u"kMDItemPhysicalSize") return folder ? Value() : Value::integer(std::int64_t(s->allocatedSize));
  if (key == u"kMDItemFSOwnerUserID" || key == u"kMDItemFSOwnerGroupID") {
    struct stat st {};
    if (::lstat(path_.c_str(), &st) != 0) return Value();
    return Value::integer(key == u"kMDItemFSOwnerUserID" ? std::int64_t(st.st_uid) : std::int64_t(st.st_gid));
  }
  if (key == u"kMDItemFSCreationDate")
    return s->birthTime ? dateFromUnix(*s->birthTime) : Value();
  if (key == u"kMDItemFSContentChangeDate" || key == u"kMDItemContentModificationDate")
    return dateFromUnix(s->modificationTime);
  if (key == u"kMDItemLastUsedDate") return dateFromUnix(s->accessTime);
  return dateFromUnix(s->statusChangeTime);  // kMDItemDateAdded
}

std::vector<std::string> MetadataItem::typeTree() {
  if (isFolder()) return {"public.folder", "public.directory", "public.item"};
  std::string ext = extension();
  if (ext.empty()) return {"public.data", "public.item"};
  return conformingTypes(files::typeIdentifierForExtension(ext), files::declaredTypeForExtension(ext));
}

// The image's property record, read once, and only for a file whose type is
// an image.
const Value& MetadataItem::image() {
  if (!imageRead_) {
    imageRead_ = true;
    std::vector<std::string> tree = typeTree();
    if (std::find(tree.begin(), tree.end(), "public.image") != tree.end()) {
      ImageRead read = readImageProperties(path_);
      if (read.status == ImageReadStatus::ok) image_ = read.properties;
    }
  }
  return image_;
}

Value MetadataItem::imageAttribute(std::u16string_view key) {
  const Value& props = image();
  if (!props.isRecord()) return Value();
  auto in = [&](std::u16string_view group, std::u16string_view name) -> Value {
    const Value* g = group.empty() ? &props : fieldOf(props, group);
    const Value* v = g ? fieldOf(*g, name) : nullptr;
    return v ? *v : Value();
  };
  // A GPS coordinate is signed by its reference: south, west and below sea level are negative.
  auto signedBy = [&](std::u16string_view name, std::u16string_view refName, auto negative) -> Value {
    Value v = in(u"{GPS}", name);
    if (!v.isNumber()) return Value();
    Value ref = in(u"{GPS}", refName);
    double d = v.doubleValue();
    return Value::real(negative(ref) ? -d : d);
  };
  if (key == u"kMDItemPixelWidth") return in({}, u"PixelWidth");
  if (key == u"kMDItemPixelHeight") return in({}, u"PixelHeight");
  if (key == u"kMDItemOrientation") return in({}, u"Orientation");
  if (key == u"kMDItemAcquisitionMake") return in(u"{TIFF}", u"Make");
  if (key == u"kMDItemAcquisitionModel") return in(u"{TIFF}", u"Model");
  if (key == u"kMDItemExposureTimeSeconds") return in(u"{Exif}", u"ExposureTime");
  if (key == u"kMDItemFNumber") return in(u"{Exif}", u"FNumber");
  if (key == u"kMDItemFocalLength") return in(u"{Exif}", u"FocalLength");
  if (key == u"kMDItemISOSpeed") {
    Value iso = in(u"{Exif}", u"ISOSpeedRatings");
    if (iso.isList()) return iso.asList().empty() ? Value() : iso.asList()[0];
    return iso;
  }
  if (key == u"kMDItemLatitude")
    return signedBy(u"Latitude", u"LatitudeRef", [](const Value& r) { return r.isString() && r.asString() == u"S"; });
  if (key == u"kMDItemLongitude")
    return signedBy(u"Longitude", u"LongitudeRef", [](const Value& r) { return r.isString() && r.asString() == u"W"; });
  if (key == u"kMDItemAltitude")
    return signedBy(u"Altitude", u"AltitudeRef", [](const Value& r) { return r.isNumber() && r.integerValue() == 1; });
  if (key == u"kMDItemContentCreationDate") return exifDate(in(u"{Exif}", u"DateTimeOriginal"));
  return Value();
}

const std::vector<std::u16string_view>& metadataAttributeNames() {
  static const std::vector<std::u16string_view> names = {
      u"kMDItemFSName", u"kMDItemDisplayName", u"kMDItemPath", u"kMDItemFSSize", u"kMDItemLogicalSize",
      u"kMDItemPhysicalSize", u"kMDItemFSOwnerUserID", u"kMDItemFSOwnerGroupID", u"kMDItemFSNodeCount",
      u"kMDItemFSInvisible", u"kMDItemFSCreationDate", u"kMDItemFSContentChangeDate",
      u"kMDItemContentModificationDate", u"kMDItemContentCreationDate", u"kMDItemLastUsedDate",
      u"kMDItemDateAdded", u"kMDItemContentType", u"kMDItemContentTypeTree", u"kMDItemKind",
      u"kMDItemUserTags", u"kMDItemPixelWidth", u"kMDItemPixelHeight", u"kMDItemOrientation",
      u"kMDItemAcquisitionMake", u"kMDItemAcquisitionModel", u"kMDItemExposureTimeSeconds", u"kMDItemFNumber",
      u"kMDItemISOSpeed", u"kMDItemFocalLength", u"kMDItemLatitude", u"kMDItemLongitude", u"kMDItemAltitude",
      u"kMDItemTextContent"};
  return names;
}

std::vector<std::pair<std::u16string_view, Value>> MetadataItem::allAttributes() {
  std::vector<std::pair<std::u16string_view, Value>> out;
  for (std::u16string_view n : metadataAttributeNames()) {
    Value v = attribute(n);
    if (!v.isNothing()) out.emplace_back(n, std::move(v));
  }
  return out;
}

}  // namespace tessaro::platform
