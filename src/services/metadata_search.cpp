// The live metadata search over folder trees; see metadata_search.hpp.
#include "services/metadata_search.hpp"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <unordered_set>

#include "platform/directory_walk.hpp"
#include "platform/metadata_attributes.hpp"

namespace tessaro::services {

namespace {

Clock::duration gTimeLimit = std::chrono::seconds(120);

struct TimedOut {};

// Undoes the octal escapes (\040 for a space …) of /proc/self/mounts.
std::string unescapeMountField(const std::string& s) {
  std::string out;
  for (std::size_t i = 0; i < s.size(); ++i) {
    if (s[i] == '\\') {
      int v = 0;
      bool ok = true;
      for (std::size_t k = 1; k <= 3; ++k) {
        if (i + k >= s.size() || s[i + k] < '0' || s[i + k] > '7') { ok = false; break; }
        v = v * 8 + (s[i + k] - '0');
      }
      if (ok) {
        out.push_back(char(v));
        i += 3;
        continue;
      }
    }
    out.push_back(s[i]);
  }
  return out;
}

bool isVirtualFileSystem(const std::string& type, const std::string& mountPoint) {
  static const std::unordered_set<std::string> kVirtual = {
      "proc", "sysfs", "devtmpfs", "devpts", "cgroup", "cgroup2", "securityfs", "debugfs", "tracefs",
      "configfs", "fusectl", "mqueue", "hugetlbfs", "pstore", "bpf", "binfmt_misc", "autofs", "efivarfs",
      "rpc_pipefs", "nsfs", "selinuxfs", "ramfs"};
  if (kVirtual.count(type)) return true;
  if (type == "tmpfs" && (mountPoint == "/run" || mountPoint.starts_with("/run/") || mountPoint == "/dev" ||
                          mountPoint.starts_with("/dev/") || mountPoint.starts_with("/sys/")))
    return true;
  return false;
}

bool isNetworkFileSystem(const std::string& type) {
  static const std::unordered_set<std::string> kNetwork = {"nfs", "nfs4", "cifs", "smb3", "smbfs", "afs",
                                                            "9p", "fuse.sshfs", "ncpfs", "ceph", "glusterfs",
                                                            "fuse.glusterfs", "davfs", "fuse.davfs"};
  return kNetwork.count(type) > 0;
}

std::string readMountsTable() {
  std::ifstream in("/proc/self/mounts");
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

}  // namespace

std::vector<std::string> mountPointsFromTable(std::string_view table, bool network) {
  std::vector<std::string> out;
  std::istringstream in{std::string(table)};
  std::string line;
  while (std::getline(in, line)) {
    std::istringstream fields(line);
    std::string device, point, type;
    if (!(fields >> device >> point >> type)) continue;
    point = unescapeMountField(point);
    if (network ? isNetworkFileSystem(type) : (!isVirtualFileSystem(type, point) && !isNetworkFileSystem(type)))
      out.push_back(point);
  }
  return out;
}

namespace {

// A lookup that fits the function wrapper's own storage (one pointer), so
// that testing an item allocates nothing for it.
AttributeLookup lookupOf(platform::MetadataItem& item) {
  return [p = &item](std::u16string_view n) { return p->attribute(n); };
}

}  // namespace

Clock::duration queryTimeLimit() { return gTimeLimit; }
void setQueryTimeLimitForTesting(Clock::duration limit) { gTimeLimit = limit; }

std::vector<std::string> foldersOfScopeName(std::u16string_view name) {
  if (name == u"kMDQueryScopeHome" || name == u"kMDQueryScopeHomeIndexed") {
    const char* home = std::getenv("HOME");
    if (home && *home) return {home};
    return {};
  }
  if (name == u"kMDQueryScopeComputer" || name == u"kMDQueryScopeComputerIndexed") return mountPointsFromTable(readMountsTable(), false);
  if (name == u"kMDQueryScopeNetwork" || name == u"kMDQueryScopeNetworkIndexed") return mountPointsFromTable(readMountsTable(), true);
  return {};
}

std::optional<std::vector<std::string>> searchFolders(const PredicateNode& predicate,
                                                      const std::vector<std::string>& folders,
                                                      Clock::time_point deadline) {
  std::vector<std::string> found;
  std::unordered_set<std::string> seen;
  unsigned sinceCheck = 0;
  try {
    if (Clock::now() > deadline) throw TimedOut{};
    for (const std::string& folder : folders) {
      platform::walkFolder(folder, 0, [&](const platform::WalkEntry& entry) {
        // The clock is read every 256 items: cheap next to the walk itself.
        if (++sinceCheck >= 256) {
          sinceCheck = 0;
          if (Clock::now() > deadline) throw TimedOut{};
        }
        platform::MetadataItem item(entry.path, entry.type);
        if (!evaluatePredicate(predicate, lookupOf(item))) return;
        // Overlapping scopes report an item once; one scope needs no check.
        if (folders.size() == 1 || seen.insert(entry.path).second) found.push_back(entry.path);
      });
      if (Clock::now() > deadline) throw TimedOut{};
    }
  } catch (const TimedOut&) {
    return std::nullopt;
  }
  return found;
}

}  // namespace tessaro::services
