// File references as descriptors, and URL strings.
//
// Scripts hand files over as "alis" (alias), "bmrk" (bookmark) and "furl"
// (file URL) descriptors. Only "furl" carries its meaning in the open: its
// payload is the URL's absolute string. Alias and bookmark payloads are
// opaque records that only a resolver that knows their format can turn into
// a file URL; this is the one place where such a resolver would go.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tessaro/descriptor.hpp"

namespace tessaro::platform {

// Coerces a file reference descriptor to a file URL and returns the "furl"
// payload (the absolute URL string, UTF-8). A "furl" descriptor gives its own
// payload. "alis" and "bmrk" references cannot be resolved here, so they give
// no value, as does a descriptor of any other type.
std::optional<std::string> coerceToFileURL(const Descriptor& descriptor);

// Whether `text` is a syntactically valid absolute URL string: a scheme, then
// only characters a URL may hold (no spaces, controls or non-ASCII bytes),
// percent signs each followed by two hex digits, at most one '#', and square
// brackets only inside the authority part.
bool isValidURLString(std::string_view text) noexcept;

}  // namespace tessaro::platform
