// A host bezier path as the anchor points of the two vector-drawing
// applications: each point with an incoming ("left") and an outgoing
// ("right") control handle, rather than drawing elements.
#pragma once

#include <cstdint>
#include <vector>

#include "tessaro/host_objects.hpp"

namespace tessaro::paths {

using Point = BezierPath::Point;

// The kind of element that made a point; a corner that starts a curve
// becomes a curve point.
enum class PointType : std::uint8_t { moveTo, lineTo, curveTo };

struct AnchorPoint {
  PointType type = PointType::moveTo;
  Point anchor, left, right;
  friend bool operator==(const AnchorPoint&, const AnchorPoint&) = default;
};

struct AnchorPoints {
  bool closed = false;
  std::vector<AnchorPoint> points;
};

enum class Extent : std::uint8_t {
  firstClosedSubpath,  // stop at the first closepath that marks the path closed
  allElements,         // read every element
};

// The points of `path`, all subpaths run together into one sequence.
//
// The closed flag is set only by a closepath that more elements follow (as
// the platform follows a closed subpath with a moveto); a closepath that ends
// the path leaves it open. Only the first moveto makes a point; later ones
// add none. No point is merged with another, so a closing segment that ends
// on the first anchor gives a last point in the same place as the first.
AnchorPoints anchorPoints(const BezierPath& path, Extent extent);

}  // namespace tessaro::paths
