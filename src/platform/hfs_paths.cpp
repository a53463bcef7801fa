// HFS paths ("Volume:folder:file") to and from POSIX paths.
//
// Linux has no volume names, so the startup volume's name is configured
// (TESSARO_STARTUP_VOLUME) and stands for the root folder, and each folder
// directly inside the volumes folder (TESSARO_VOLUMES_DIR) is a volume of
// that name. Inside a component '/' and ':' trade places, since each is the
// other form's separator.
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "platform/current_folder.hpp"
#include "platform/file_paths.hpp"

namespace tessaro::platform {
namespace {

constexpr const char* kStartupVolumeVariable = "TESSARO_STARTUP_VOLUME";
constexpr const char* kVolumesFolderVariable = "TESSARO_VOLUMES_DIR";
constexpr const char* kDefaultStartupVolume = "System";
constexpr const char* kDefaultVolumesFolder = "/media";

using Components = std::vector<std::string>;

std::string environmentOr(const char* name, const char* fallback) {
  const char* value = std::getenv(name);
  return value != nullptr && value[0] != '\0' ? std::string(value) : std::string(fallback);
}

std::string exchangeSeparators(std::string_view component) {
  std::string out(component);
  for (char& c : out) {
    if (c == '/') c = ':';
    else if (c == ':') c = '/';
  }
  return out;
}

// The components of a POSIX path with empty and "." components dropped and
// ".." taking the previous one away (never going above the root). An HFS
// path has no way to write "." or a doubled separator, and "::" would mean
// the parent folder there, so the path is tidied before it is converted.
Components posixComponents(std::string_view path) {
  Components components;
  std::size_t start = 0;
  while (start <= path.size()) {
    std::size_t end = path.find('/', start);
    if (end == std::string_view::npos) end = path.size();
    std::string_view part = path.substr(start, end - start);
    if (part == "..") {
      if (!components.empty()) components.pop_back();
    } else if (!part.empty() && part != ".") {
      components.emplace_back(part);
    }
    start = end + 1;
  }
  return components;
}

std::vector<std::string_view> splitOnColons(std::string_view hfsPath) {
  std::vector<std::string_view> parts;
  std::size_t start = 0;
  for (;;) {
    std::size_t end = hfsPath.find(':', start);
    if (end == std::string_view::npos) {
      parts.push_back(hfsPath.substr(start));
      return parts;
    }
    parts.push_back(hfsPath.substr(start, end - start));
    start = end + 1;
  }
}

std::string joinedAsPath(const Components& components) {
  if (components.empty()) return "/";
  std::string path;
  for (const std::string& component : components) {
    path.push_back('/');
    path.append(component);
  }
  return path;
}

}  // namespace

std::string startupVolumeName() { return environmentOr(kStartupVolumeVariable, kDefaultStartupVolume); }

std::string volumesFolder() { return environmentOr(kVolumesFolderVariable, kDefaultVolumesFolder); }

std::optional<std::string> hfsPathFromPath(std::string_view path) {
  if (path.empty() || path.front() != '/') return std::nullopt;
  Components components = posixComponents(path);
  Components volumes = posixComponents(volumesFolder());

  // A folder inside the volumes folder is a volume; everything else,
  // including the volumes folder itself, lies on the startup volume.
  bool onOtherVolume = components.size() > volumes.size();
  for (std::size_t i = 0; onOtherVolume && i < volumes.size(); ++i)
    onOtherVolume = components[i] == volumes[i];

  std::string hfsPath;
  std::size_t next = 0;
  if (onOtherVolume) {
    hfsPath = exchangeSeparators(components[volumes.size()]);
    next = volumes.size() + 1;
  } else {
    // The volume's name is written like any other name: a ':' in it
    // becomes '/', so that the path reads back.
    hfsPath = exchangeSeparators(startupVolumeName());
  }
  for (; next < components.size(); ++next) {
    hfsPath.push_back(':');
    hfsPath.append(exchangeSeparators(components[next]));
  }
  return hfsPath;
}

std::string pathFromHFSPath(std::string_view hfsPath) {
  std::vector<std::string_view> parts = splitOnColons(hfsPath);
  // A trailing ':' only marks a folder.
  if (parts.size() > 1 && parts.back().empty()) parts.pop_back();

  // The first part names the volume; when it is empty the path starts from
  // the current folder, and may climb out of it up to the root.
  Components components;
  std::size_t floor = 0;
  if (parts.front().empty()) {
    components = posixComponents(currentFolder());
  } else if (parts.front() != exchangeSeparators(startupVolumeName())) {
    components = posixComponents(volumesFolder());
    components.push_back(exchangeSeparators(parts.front()));
    floor = components.size();
  }

  // Each further empty part (from "::") goes up one folder, but not above
  // the volume's root.
  for (std::size_t i = 1; i < parts.size(); ++i) {
    if (parts[i].empty()) {
      if (components.size() > floor) components.pop_back();
    } else {
      components.push_back(exchangeSeparators(parts[i]));
    }
  }
  return joinedAsPath(components);
}

}  // namespace tessaro::platform
