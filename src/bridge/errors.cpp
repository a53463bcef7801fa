#include "tessaro/errors.hpp"

#include "tessaro/build_config.hpp"

namespace tessaro {

std::string_view bundleIdentifier() noexcept { return TESSARO_BUNDLE_IDENTIFIER; }

std::string_view failureKindName(FailureKind kind) noexcept {
  switch (kind) {
    case FailureKind::range: return "range";
    case FailureKind::invalidArgument: return "invalidArgument";
    case FailureKind::unrecognizedSelector: return "unrecognizedSelector";
    case FailureKind::compare: return "compare";
  }
  return "invalidArgument";
}

void throwFailure(FailureKind kind, const std::string& message) { throw HostFailure(kind, message); }

}  // namespace tessaro
