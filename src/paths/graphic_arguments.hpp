// The host path and colour that the graphics commands are handed. No value
// reads as an empty path or a colour without components, as a message to nil
// answers zeros; any other value that is not a path or a colour does not
// answer the reader's first question and fails as the host would.
#pragma once

#include "tessaro/host_objects.hpp"
#include "tessaro/value.hpp"

namespace tessaro::paths {

inline const BezierPath& pathArgument(const Value& v) {
  static const BezierPath empty;
  if (const auto* path = v.objectAs<BezierPath>()) return *path;
  if (!v.isNothing()) doesNotAnswer(v, "elementCount");
  return empty;
}

inline const Color& colorArgument(const Value& v) {
  static const Color none;
  if (const auto* color = v.objectAs<Color>()) return *color;
  if (!v.isNothing()) doesNotAnswer(v, "numberOfComponents");
  return none;
}

}  // namespace tessaro::paths
