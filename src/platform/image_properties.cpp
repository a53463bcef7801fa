// Reading image properties through exiv2 and the files' own headers.
#include "platform/image_properties.hpp"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <optional>
#include <string_view>
#include <vector>

// exiv2 0.27 hands images over in std::auto_ptr, which C++17 deprecates.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <exiv2/exiv2.hpp>

namespace tessaro::platform {
namespace {

Value text(std::string_view utf8) { return Value::fromUtf8(utf8); }
void put(Record& record, std::string_view key, Value value) {
  if (!value.isNothing()) record.set(Value::fromUtf8(key), std::move(value));
}
// A number as the service gives it: an integer when it is whole.
Value number(double d) {
  if (std::isfinite(d) && d == std::floor(d) && std::fabs(d) < 9e15) return Value::integer(std::int64_t(d));
  return Value::real(d);
}
double ratio(const Exiv2::Rational& r) { return r.second == 0 ? 0.0 : double(r.first) / double(r.second); }

// Latin-1 text (PNG text chunks) as UTF-8.
std::string latin1ToUtf8(std::string_view latin1) {
  std::string out;
  for (unsigned char c : latin1) {
    if (c < 0x80) out.push_back(char(c));
    else {
      out.push_back(char(0xC0 | (c >> 6)));
      out.push_back(char(0x80 | (c & 0x3F)));
    }
  }
  return out;
}

std::string trimmed(std::string s) {
  while (!s.empty() && (s.back() == '\0' || s.back() == ' ')) s.pop_back();
  return s;
}

// One Exif value in the service's kinds: strings, integers, reals for
// rationals, lists for arrays.
Value exifValue(const Exiv2::Exifdatum& datum) {
  const long count = datum.count();
  switch (datum.typeId()) {
    case Exiv2::asciiString:
      return text(trimmed(datum.toString()));
    case Exiv2::unsignedRational:
    case Exiv2::signedRational: {
      if (count == 1) return Value::real(ratio(datum.toRational(0)));
      std::vector<Value> items;
      for (long i = 0; i < count; ++i) items.push_back(Value::real(ratio(datum.toRational(i))));
      return Value::list(std::move(items));
    }
    case Exiv2::unsignedByte:
    case Exiv2::signedByte:
    case Exiv2::unsignedShort:
    case Exiv2::signedShort:
    case Exiv2::unsignedLong:
    case Exiv2::signedLong: {
      if (count == 1) return Value::integer(datum.toLong(0));
      std::vector<Value> items;
      for (long i = 0; i < count; ++i) items.push_back(Value::integer(datum.toLong(i)));
      return Value::list(std::move(items));
    }
    case Exiv2::tiffFloat:
    case Exiv2::tiffDouble:
      return count == 1 ? Value::real(datum.toFloat(0)) : Value();
    default:
      return Value();
  }
}

// The raw bytes of an "undefined" Exif value.
std::string undefinedBytes(const Exiv2::Exifdatum& datum) {
  std::string bytes(std::size_t(datum.size()), '\0');
  if (!bytes.empty()) datum.copy(reinterpret_cast<Exiv2::byte*>(bytes.data()), Exiv2::littleEndian);
  return bytes;
}

// "0231" gives [2, 3, 1], "0220" gives [2, 2].
Value versionList(const std::string& digits) {
  if (digits.size() < 4) return Value();
  std::vector<Value> parts{Value::integer((digits[0] - '0') * 10 + (digits[1] - '0')), Value::integer(digits[2] - '0')};
  if (digits[3] != '0') parts.push_back(Value::integer(digits[3] - '0'));
  return Value::list(std::move(parts));
}

void readExifGroup(const Exiv2::ExifData& exif, Record& exifGroup, Record& tiffGroup, Record& gpsGroup) {
  static constexpr std::string_view kTiffKeys[] = {
      "ImageDescription", "Make", "Model", "Orientation", "XResolution", "YResolution", "ResolutionUnit",
      "Software", "DateTime", "Artist", "Copyright", "HostComputer", "Compression", "PhotometricInterpretation",
      "WhitePoint", "PrimaryChromaticities", "TileWidth", "TileLength"};
  for (const Exiv2::Exifdatum& datum : exif) {
    const std::string group = datum.groupName();
    std::string name = datum.tagName();
    if (group == "Image") {
      for (std::string_view key : kTiffKeys)
        if (name == key) put(tiffGroup, name, exifValue(datum));
    } else if (group == "Photo") {
      if (name == "MakerNote") continue;
      if (name == "FocalLengthIn35mmFilm") name = "FocalLenIn35mmFilm";
      if (name == "SubjectDistanceRange") name = "SubjectDistRange";
      if (name == "FlashpixVersion") name = "FlashPixVersion";
      if (datum.typeId() != Exiv2::undefined) {
        Value value = exifValue(datum);
        // The service always gives the speed ratings as a list.
        if (name == "ISOSpeedRatings" && !value.isList() && !value.isNothing()) value = Value::list({value});
        put(exifGroup, name, std::move(value));
        continue;
      }
      const std::string bytes = undefinedBytes(datum);
      if (name == "ExifVersion" || name == "FlashPixVersion") {
        put(exifGroup, name, versionList(bytes));
      } else if (name == "UserComment") {
        // Eight bytes name the character set; only ASCII and UTF-8 are read.
        if (bytes.size() > 8 && bytes.compare(0, 8, std::string("UNICODE\0", 8)) != 0)
          put(exifGroup, name, text(trimmed(bytes.substr(8))));
      } else if (name == "ComponentsConfiguration") {
        std::vector<Value> items;
        for (unsigned char b : bytes) items.push_back(Value::integer(b));
        put(exifGroup, name, Value::list(std::move(items)));
      } else if (bytes.size() == 1) {
        put(exifGroup, name, Value::integer(static_cast<unsigned char>(bytes[0])));
      }
    } else if (group == "GPSInfo") {
      if (name == "GPSVersionID") {
        put(gpsGroup, "GPSVersion", exifValue(datum));
        continue;
      }
      if (name.starts_with("GPS")) name.erase(0, 3);
      if ((name == "Latitude" || name == "Longitude" || name == "DestLatitude" || name == "DestLongitude") &&
          datum.count() == 3) {
        // Degrees, minutes and seconds as one unsigned number of degrees.
        put(gpsGroup, name,
            Value::real(ratio(datum.toRational(0)) + ratio(datum.toRational(1)) / 60 + ratio(datum.toRational(2)) / 3600));
      } else if (name == "TimeStamp" && datum.count() == 3) {
        char buffer[32];
        const double seconds = ratio(datum.toRational(2));
        if (seconds == std::floor(seconds))
          std::snprintf(buffer, sizeof buffer, "%02d:%02d:%02d", int(ratio(datum.toRational(0))),
                        int(ratio(datum.toRational(1))), int(seconds));
        else
          std::snprintf(buffer, sizeof buffer, "%02d:%02d:%05.2f", int(ratio(datum.toRational(0))),
                        int(ratio(datum.toRational(1))), seconds);
        put(gpsGroup, name, text(buffer));
      } else if (datum.typeId() != Exiv2::undefined) {
        put(gpsGroup, name, exifValue(datum));
      }
    }
  }
}

void readIptcGroup(const Exiv2::IptcData& iptc, Record& group) {
  struct Name {
    std::string_view exiv2, service;
    bool repeated;
  };
  static constexpr Name kNames[] = {
      {"ObjectName", "ObjectName", false},     {"Keywords", "Keywords", true},
      {"Caption", "Caption/Abstract", false},  {"Byline", "By-line", true},
      {"BylineTitle", "By-lineTitle", true},   {"City", "City", false},
      {"SubLocation", "Sub-location", false},  {"ProvinceState", "Province/State", false},
      {"CountryCode", "Country/PrimaryLocationCode", false},
      {"CountryName", "Country/PrimaryLocationName", false},
      {"Copyright", "CopyrightNotice", false}, {"DateCreated", "DateCreated", false},
      {"TimeCreated", "TimeCreated", false},   {"Headline", "Headline", false},
      {"Credit", "Credit", false},             {"Source", "Source", false},
      {"Category", "Category", false},         {"SuppCategory", "SupplementalCategory", true},
      {"Urgency", "Urgency", false},           {"SpecialInstructions", "SpecialInstructions", false},
      {"Writer", "Writer/Editor", true},       {"Program", "OriginatingProgram", false},
      {"ProgramVersion", "ProgramVersion", false},
      {"TransmissionReference", "OriginalTransmissionReference", false},
      {"EditStatus", "EditStatus", false},     {"Contact", "Contact", true},
  };
  for (const Name& n : kNames) {
    std::vector<Value> values;
    for (const Exiv2::Iptcdatum& datum : iptc)
      if (datum.recordName() == "Application2" && datum.tagName() == n.exiv2) values.push_back(text(datum.toString()));
    if (values.empty()) continue;
    put(group, n.service, n.repeated ? Value::list(std::move(values)) : values.front());
  }
}

// What the file's own headers say: size, precision, components, densities.
struct HeaderFacts {
  std::optional<int> depth;
  std::optional<std::string> colorModel;
  std::optional<bool> hasAlpha;
  std::optional<double> dpiWidth, dpiHeight;
  Record jfif, png;
};

std::uint32_t be32(const unsigned char* p) { return (std::uint32_t(p[0]) << 24) | (p[1] << 16) | (p[2] << 8) | p[3]; }
std::uint16_t be16(const unsigned char* p) { return std::uint16_t((p[0] << 8) | p[1]); }

std::vector<unsigned char> readHead(const std::string& path, std::size_t limit) {
  std::ifstream in(path, std::ios::binary);
  std::vector<unsigned char> bytes(limit);
  in.read(reinterpret_cast<char*>(bytes.data()), std::streamsize(limit));
  bytes.resize(std::size_t(in.gcount()));
  return bytes;
}

void readJpegHeaders(const std::vector<unsigned char>& b, HeaderFacts& facts) {
  std::size_t at = 2;
  while (at + 4 <= b.size() && b[at] == 0xFF) {
    const unsigned char marker = b[at + 1];
    if (marker == 0xD8 || marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7)) {
      at += 2;
      continue;
    }
    const std::size_t length = be16(&b[at + 2]);
    const unsigned char* body = &b[at + 4];
    const std::size_t bodySize = length >= 2 ? length - 2 : 0;
    if (at + 2 + length > b.size()) break;
    if (marker == 0xE0 && bodySize >= 12 && std::string_view(reinterpret_cast<const char*>(body), 5) == std::string_view("JFIF\0", 5)) {
      const int major = body[5], minor = body[6], unit = body[7];
      const int x = be16(body + 8), y = be16(body + 10);
      put(facts.jfif, "JFIFVersion",
          Value::list({Value::integer(major), Value::integer(minor / 10), Value::integer(minor % 10)}));
      put(facts.jfif, "DensityUnit", Value::integer(unit));
      put(facts.jfif, "XDensity", Value::integer(x));
      put(facts.jfif, "YDensity", Value::integer(y));
      if (unit == 1 || unit == 2) {
        const double scale = unit == 1 ? 1.0 : 2.54;
        facts.dpiWidth = x * scale;
        facts.dpiHeight = y * scale;
      }
    }
    // Start of frame: precision and components (not the table markers C4, C8, CC).
    if (marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC && bodySize >= 6) {
      facts.depth = body[0];
      const int components = body[5];
      facts.colorModel = components == 1 ? "Gray" : components == 4 ? "CMYK" : "RGB";
      put(facts.jfif, "IsProgressive", Value::boolean(marker == 0xC2 || marker == 0xC6));
      break;
    }
    if (marker == 0xDA) break;
    at += 2 + length;
  }
}

void readPngHeaders(const std::vector<unsigned char>& b, HeaderFacts& facts) {
  std::size_t at = 8;
  bool transparency = false;
  int colorType = -1;
  while (at + 12 <= b.size()) {
    const std::size_t length = be32(&b[at]);
    const std::string_view type(reinterpret_cast<const char*>(&b[at + 4]), 4);
    if (at + 12 + length > b.size()) break;
    const unsigned char* body = &b[at + 8];
    if (type == "IHDR" && length >= 13) {
      const int bitDepth = body[8];
      colorType = body[9];
      facts.depth = bitDepth;
      facts.colorModel = (colorType == 0 || colorType == 4) ? "Gray" : "RGB";
      put(facts.png, "InterlaceType", Value::integer(body[12]));
    } else if (type == "pHYs" && length >= 9) {
      const std::uint32_t x = be32(body), y = be32(body + 4);
      put(facts.png, "XPixelsPerMeter", Value::integer(x));
      put(facts.png, "YPixelsPerMeter", Value::integer(y));
      if (body[8] == 1) {
        facts.dpiWidth = std::round(x * 0.0254);
        facts.dpiHeight = std::round(y * 0.0254);
      }
    } else if (type == "gAMA" && length >= 4) {
      put(facts.png, "Gamma", Value::real(be32(body) / 100000.0));
    } else if (type == "tRNS") {
      transparency = true;
    } else if (type == "tEXt") {
      const std::string_view chunk(reinterpret_cast<const char*>(body), length);
      const std::size_t nul = chunk.find('\0');
      if (nul != std::string_view::npos) {
        const std::string_view keyword = chunk.substr(0, nul);
        for (std::string_view known : {"Title", "Author", "Description", "Copyright", "Software", "Comment", "Disclaimer",
                                       "Warning", "Source"}) {
          if (keyword == known) put(facts.png, known, text(latin1ToUtf8(chunk.substr(nul + 1))));
        }
        if (keyword == "Creation Time") put(facts.png, "CreationTime", text(latin1ToUtf8(chunk.substr(nul + 1))));
      }
    } else if (type == "IDAT" || type == "IEND") {
      break;
    }
    at += 12 + length;
  }
  if (colorType >= 0) facts.hasAlpha = colorType == 4 || colorType == 6 || transparency;
}

// The description of an ICC profile: its "desc" tag, in the version 2 text
// form or the version 4 multi-language form (first record).
std::optional<std::string> iccProfileName(const Exiv2::DataBuf& profile) {
  const unsigned char* p = profile.pData_;
  const std::size_t size = std::size_t(profile.size_);
  if (p == nullptr || size < 132) return std::nullopt;
  const std::uint32_t tags = be32(p + 128);
  for (std::uint32_t i = 0; i < tags && 132 + 12 * (i + 1) <= size; ++i) {
    const unsigned char* entry = p + 132 + 12 * i;
    if (std::string_view(reinterpret_cast<const char*>(entry), 4) != "desc") continue;
    const std::size_t offset = be32(entry + 4), length = be32(entry + 8);
    if (offset + length > size || length < 12) return std::nullopt;
    const unsigned char* tag = p + offset;
    const std::string_view kind(reinterpret_cast<const char*>(tag), 4);
    if (kind == "desc") {
      const std::size_t count = be32(tag + 8);
      if (12 + count > length) return std::nullopt;
      return trimmed(std::string(reinterpret_cast<const char*>(tag + 12), count));
    }
    if (kind == "mluc" && length >= 28) {
      const std::size_t recordLength = be32(tag + 20), recordOffset = be32(tag + 24);
      if (recordOffset + recordLength > length) return std::nullopt;
      std::u16string units;
      for (std::size_t k = 0; k + 1 < recordLength; k += 2) units.push_back(char16_t(be16(tag + recordOffset + k)));
      return Value::string(units).toUtf8();
    }
  }
  return std::nullopt;
}

}  // namespace

ImageRead readImageProperties(const std::string& path) {
  static const bool quiet = [] {
    // exiv2 reports its warnings on standard error; commands stay silent.
    Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
    return true;
  }();
  (void)quiet;

  ImageRead result;
  std::unique_ptr<Exiv2::Image> image;
  try {
    image.reset(Exiv2::ImageFactory::open(path, false).release());
  } catch (const std::exception&) {
    return result;
  }
  if (image.get() == nullptr || !image->good()) return result;
  try {
    image->readMetadata();
  } catch (const std::exception&) {
    result.status = ImageReadStatus::noProperties;
    return result;
  }

  HeaderFacts facts;
  const std::string mime = image->mimeType();
  if (mime == "image/jpeg") readJpegHeaders(readHead(path, 1 << 20), facts);
  else if (mime == "image/png") readPngHeaders(readHead(path, 1 << 20), facts);

  Record exifGroup, tiffGroup, gpsGroup, iptcGroup;
  try {
    readExifGroup(image->exifData(), exifGroup, tiffGroup, gpsGroup);
    readIptcGroup(image->iptcData(), iptcGroup);
  } catch (const std::exception&) {
    // A damaged value ends the reading of metadata, not of the image.
  }

  Record properties;
  std::ifstream sizeProbe(path, std::ios::binary | std::ios::ate);
  if (sizeProbe) put(properties, "FileSize", Value::integer(std::int64_t(sizeProbe.tellg())));
  if (image->pixelWidth() > 0) put(properties, "PixelWidth", Value::integer(image->pixelWidth()));
  if (image->pixelHeight() > 0) put(properties, "PixelHeight", Value::integer(image->pixelHeight()));

  // Densities: the file's own header first, then the TIFF resolution; 72
  // for the formats whose readers assume it.
  if (!facts.dpiWidth) {
    const Value* x = tiffGroup.find(u"XResolution");
    const Value* y = tiffGroup.find(u"YResolution");
    const Value* unit = tiffGroup.find(u"ResolutionUnit");
    const double scale = unit && unit->kind() == ValueKind::integer && unit->asInteger() == 3 ? 2.54 : 1.0;
    if (x && x->kind() == ValueKind::real) facts.dpiWidth = x->asReal() * scale;
    if (y && y->kind() == ValueKind::real) facts.dpiHeight = y->asReal() * scale;
  }
  if (!facts.dpiWidth && (mime == "image/jpeg" || mime == "image/png")) facts.dpiWidth = facts.dpiHeight = 72.0;
  if (facts.dpiWidth) put(properties, "DPIWidth", number(*facts.dpiWidth));
  if (facts.dpiHeight) put(properties, "DPIHeight", number(*facts.dpiHeight));
  if (facts.depth) put(properties, "Depth", Value::integer(*facts.depth));
  if (facts.colorModel) put(properties, "ColorModel", text(*facts.colorModel));
  if (facts.hasAlpha) put(properties, "HasAlpha", Value::boolean(*facts.hasAlpha));
  if (const Value* orientation = tiffGroup.find(u"Orientation")) put(properties, "Orientation", *orientation);
  if (image->iccProfileDefined())
    if (std::optional<std::string> name = iccProfileName(*image->iccProfile())) put(properties, "ProfileName", text(*name));

  auto group = [&](std::string_view key, Record& r) {
    if (!r.empty()) put(properties, key, Value::record(std::move(r)));
  };
  group("{TIFF}", tiffGroup);
  group("{Exif}", exifGroup);
  group("{GPS}", gpsGroup);
  group("{IPTC}", iptcGroup);
  group("{PNG}", facts.png);
  group("{JFIF}", facts.jfif);

  if (properties.empty()) {
    result.status = ImageReadStatus::noProperties;
    return result;
  }
  result.status = ImageReadStatus::ok;
  result.properties = Value::record(std::move(properties));
  return result;
}

}  // namespace tessaro::platform

#pragma GCC diagnostic pop
