// The metadata attributes of one file-system item, computed on demand: the
// name and path need nothing, sizes, owners and dates one status read, the
// type attributes only the name (and whether it is a folder), tags one
// extended-attribute read, image attributes one metadata read of an image
// file, the text content a read of a text file. Each is read at most once per item.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_attributes.hpp"
#include "tessaro/value.hpp"

namespace tessaro::platform {

class MetadataItem {
 public:
  // `dirType` is the readdir type (DT_DIR, DT_REG …), or DT_UNKNOWN to look.
  // The path must outlive the item.
  MetadataItem(const std::string& path, unsigned char dirType);

  // The attribute's value; no value when the item lacks it or the name is unknown.
  Value attribute(std::u16string_view name);
  // Every attribute the item has, by name.
  std::vector<std::pair<std::u16string_view, Value>> allAttributes();

 private:
  const std::string& path_;
  unsigned char type_;
  bool statusRead_ = false;
  std::optional<FileStatus> status_;
  bool imageRead_ = false;
  Value image_;  // the image property record, or no value

  const Value& image();
  Value imageAttribute(std::u16string_view key);
  std::vector<std::string> typeTree();

  const std::optional<FileStatus>& status();
  bool isFolder();
  std::string_view name() const;
  std::string extension() const;
};

// The names of every attribute MetadataItem knows, in the order records list them.
const std::vector<std::u16string_view>& metadataAttributeNames();

}  // namespace tessaro::platform
