// Tiny images that the tests write themselves: a JPEG and a PNG whose
// headers are complete (their pixel data is not meant to be decoded), with
// metadata written into them through exiv2.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "files_test_support.hpp"

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <exiv2/exiv2.hpp>

namespace tessaro::files::testing {

inline void put16(std::string& s, unsigned v) {
  s.push_back(char(v >> 8));
  s.push_back(char(v & 0xFF));
}
inline void put32(std::string& s, std::uint32_t v) {
  put16(s, v >> 16);
  put16(s, v & 0xFFFF);
}

// A baseline JPEG, `width` × `height`, three components, with a JFIF header
// giving 72 dots per inch.
inline void writeJpeg(const std::string& path, unsigned width, unsigned height) {
  std::string b = "\xFF\xD8";
  b += std::string("\xFF\xE0\x00\x10JFIF\x00\x01\x02\x01\x00\x48\x00\x48\x00\x00", 18);
  b += "\xFF\xC0";
  put16(b, 17);
  b.push_back(8);
  put16(b, height);
  put16(b, width);
  b += std::string("\x03\x01\x11\x00\x02\x11\x00\x03\x11\x00", 10);
  b += std::string("\xFF\xDA\x00\x0C\x03\x01\x00\x02\x00\x03\x00\x00\x3F\x00", 14);
  b += std::string("\x00\x00\xFF\xD9", 4);
  writeFile(path, b);
}

inline std::uint32_t crc32(const std::string& bytes) {
  std::uint32_t crc = 0xFFFFFFFF;
  for (unsigned char c : bytes) {
    crc ^= c;
    for (int k = 0; k < 8; ++k) crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1)));
  }
  return ~crc;
}

inline void pngChunk(std::string& b, const std::string& type, const std::string& body) {
  put32(b, std::uint32_t(body.size()));
  b += type + body;
  put32(b, crc32(type + body));
}

// An 8-bit RGBA PNG with a physical density chunk (pixels per meter) and a
// title in a text chunk.
inline void writePng(const std::string& path, unsigned width, unsigned height, std::uint32_t pixelsPerMeter) {
  std::string b = "\x89PNG\r\n\x1A\n";
  std::string header;
  put32(header, width);
  put32(header, height);
  header += std::string("\x08\x06\x00\x00\x00", 5);
  pngChunk(b, "IHDR", header);
  std::string density;
  put32(density, pixelsPerMeter);
  put32(density, pixelsPerMeter);
  density.push_back(1);
  pngChunk(b, "pHYs", density);
  pngChunk(b, "tEXt", std::string("Title\0Sample", 12));
  pngChunk(b, "IDAT", std::string("\x78\x9C\x63\x00\x00\x00\x01\x00\x01", 9));
  pngChunk(b, "IEND", "");
  writeFile(path, b);
}

// Writes camera, exposure, GPS and keyword metadata into an image.
inline void writeSampleMetadata(const std::string& path) {
  auto image = Exiv2::ImageFactory::open(path);
  image->readMetadata();
  Exiv2::ExifData exif;
  exif["Exif.Image.Make"] = "Tessaro Optics";
  exif["Exif.Image.Model"] = "T-1";
  exif["Exif.Image.Orientation"] = std::uint16_t(6);
  exif["Exif.Photo.ExposureTime"] = Exiv2::Rational(1, 200);
  exif["Exif.Photo.FNumber"] = Exiv2::Rational(28, 10);
  exif["Exif.Photo.ISOSpeedRatings"] = std::uint16_t(400);
  exif["Exif.Photo.DateTimeOriginal"] = "2024:05:01 10:20:30";
  exif["Exif.GPSInfo.GPSVersionID"] = "2 2 0 0";
  exif["Exif.GPSInfo.GPSLatitudeRef"] = "N";
  exif["Exif.GPSInfo.GPSLatitude"] = "48/1 51/1 295/10";
  exif["Exif.GPSInfo.GPSLongitudeRef"] = "E";
  exif["Exif.GPSInfo.GPSLongitude"] = "2/1 17/1 40/1";
  exif["Exif.GPSInfo.GPSAltitude"] = Exiv2::Rational(355, 10);
  image->setExifData(exif);
  Exiv2::IptcData iptc;
  for (const char* keyword : {"tower", "night"}) {
    Exiv2::Value::AutoPtr value = Exiv2::Value::create(Exiv2::string);
    value->read(keyword);
    iptc.add(Exiv2::IptcKey("Iptc.Application2.Keywords"), value.get());
  }
  iptc["Iptc.Application2.City"] = "Paris";
  image->setIptcData(iptc);
  image->writeMetadata();
}

}  // namespace tessaro::files::testing

#pragma GCC diagnostic pop
