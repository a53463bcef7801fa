// The live metadata search: walks each scope's tree and keeps the paths of
// the items a predicate accepts, with a time limit checked while walking.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "services/predicate.hpp"

namespace tessaro::services {

using Clock = std::chrono::steady_clock;

// The folders behind a scope name ("kMDQueryScopeHome" …); none for a name
// that is not one of the predefined scopes.
std::vector<std::string> foldersOfScopeName(std::u16string_view name);

// The mount points of a mounts table in the form of /proc/self/mounts: the
// network file systems when `network`, else every local one that is not one
// of the kernel's virtual file systems.
std::vector<std::string> mountPointsFromTable(std::string_view table, bool network);

// Paths of the matching items below each folder (not the folders
// themselves), each once, in walk order; no value when `deadline` passes
// first.
std::optional<std::vector<std::string>> searchFolders(const PredicateNode& predicate,
                                                      const std::vector<std::string>& folders,
                                                      Clock::time_point deadline);

// The query time limit, 120 seconds; tests lower it to see the time-out.
Clock::duration queryTimeLimit();
void setQueryTimeLimitForTesting(Clock::duration limit);

}  // namespace tessaro::services
