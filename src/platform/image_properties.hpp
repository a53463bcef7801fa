// The property record of the first image of an image file, shaped like the
// image service's: top-level "PixelWidth", "PixelHeight", "DPIWidth",
// "DPIHeight", "Depth", "ColorModel", "Orientation", "ProfileName" …, and the
// groups "{TIFF}", "{Exif}", "{GPS}", "{IPTC}", "{PNG}" and "{JFIF}" under the
// service's key names, rationals as reals and arrays as lists. Metadata is
// read with exiv2; the few facts exiv2 leaves out (components, precision,
// densities, chunks) are read from the file's own headers.
#pragma once

#include <string>

#include "tessaro/value.hpp"

namespace tessaro::platform {

enum class ImageReadStatus { ok, unreadable, noProperties };

struct ImageRead {
  ImageReadStatus status = ImageReadStatus::unreadable;
  Value properties;  // a record when ok
};

ImageRead readImageProperties(const std::string& path);

}  // namespace tessaro::platform
