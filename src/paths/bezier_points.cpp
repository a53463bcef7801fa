// Drawing elements to anchor points, in two stages: each element becomes an
// element record (its type, two control points and an anchor), then the
// records are folded into anchor points, a curve setting the outgoing handle
// of the point before it.
#include "paths/bezier_points.hpp"

namespace tessaro::paths {

namespace {

// An element other than closepath: for a curve its two control points and
// end point; for a moveto or lineto its one point three times.
struct ElementRecord {
  PointType type;
  Point c1, c2, anchor;
};

void addPoint(const ElementRecord& r, std::vector<AnchorPoint>& points) {
  if (points.empty()) {
    // The first record makes a point whatever its type; a curve's control
    // points are then dropped.
    points.push_back({r.type, r.anchor, r.anchor, r.anchor});
    return;
  }
  switch (r.type) {
    case PointType::moveTo:
      return;  // later subpaths run on from the points before them
    case PointType::lineTo:
      points.push_back({PointType::lineTo, r.anchor, r.anchor, r.anchor});
      return;
    case PointType::curveTo: {
      AnchorPoint& previous = points.back();
      previous.right = r.c1;
      // A corner that now starts a curve gets a retracted incoming handle.
      if (previous.type != PointType::curveTo) {
        previous.type = PointType::curveTo;
        previous.left = previous.anchor;
      }
      // Its outgoing handle is its anchor until a further curve sets it.
      points.push_back({PointType::curveTo, r.anchor, r.c2, r.anchor});
      return;
    }
  }
}

}  // namespace

AnchorPoints anchorPoints(const BezierPath& path, Extent extent) {
  AnchorPoints result;
  const std::size_t n = path.elements.size();
  result.points.reserve(n);
  for (std::size_t i = 0; i < n; ++i) {
    const BezierPath::Element& e = path.elements[i];
    switch (e.kind) {
      case BezierPath::ElementKind::moveTo:
        addPoint({PointType::moveTo, e.points[0], e.points[0], e.points[0]}, result.points);
        break;
      case BezierPath::ElementKind::lineTo:
        addPoint({PointType::lineTo, e.points[0], e.points[0], e.points[0]}, result.points);
        break;
      case BezierPath::ElementKind::curveTo:
        addPoint({PointType::curveTo, e.points[0], e.points[1], e.points[2]}, result.points);
        break;
      case BezierPath::ElementKind::closePath:
        // Only a closepath that more elements follow marks the path closed.
        if (i + 1 < n) {
          result.closed = true;
          if (extent == Extent::firstClosedSubpath) return result;
        }
        break;
    }
  }
  return result;
}

}  // namespace tessaro::paths
