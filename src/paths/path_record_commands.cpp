// A host bezier path as plain host values (pathOfBezier:) and as the path
// records that the scripting of the two vector-drawing applications takes
// (bezierForAI:, bezierForID:). The records are built as descriptors here,
// so that coordinates stay reals and the records keep their keywords.
// Coordinates pass through unchanged: no flipping, scaling or rounding.
#include "paths/bezier_points.hpp"
#include "paths/graphic_arguments.hpp"
#include "registry/subsystems.hpp"
#include "tessaro/krv_forder.hpp"
#include "tessaro/registry.hpp"

namespace tessaro {

namespace {

using paths::AnchorPoint;
using paths::Point;
using paths::PointType;

Value pairValue(Point p) { return Value::list({Value::real(p.x), Value::real(p.y)}); }

Descriptor pairDescriptor(Point p) {
  return Descriptor::list({Descriptor::fromDouble(p.x), Descriptor::fromDouble(p.y)});
}

// A curve point is written with both handles, left, anchor, right; any other
// point as its anchor alone.
Value pathPointValue(const AnchorPoint& point) {
  if (point.type != PointType::curveTo) return pairValue(point.anchor);
  return Value::list({pairValue(point.left), pairValue(point.anchor), pairValue(point.right)});
}

Descriptor pathPointDescriptor(const AnchorPoint& point) {
  if (point.type != PointType::curveTo) return pairDescriptor(point.anchor);
  return Descriptor::list({pairDescriptor(point.left), pairDescriptor(point.anchor), pairDescriptor(point.right)});
}

}  // namespace

// Only the first subpath when the path is closed: reading stops at the
// closepath that marks it so.
Value KRVForder::pathOfBezier_(const Value& bezier) {
  paths::AnchorPoints path = paths::anchorPoints(paths::pathArgument(bezier), paths::Extent::firstClosedSubpath);
  ListBuilder points;
  for (const AnchorPoint& point : path.points) points.push(pathPointValue(point));
  return Value::record(Record{{u"is_closed", Value::boolean(path.closed)}, {u"path_points", points.finish()}});
}

// Every point carries its anchor and both handles, whatever its type.
Value KRVForder::bezierForAI_(const Value& bezier) {
  paths::AnchorPoints path = paths::anchorPoints(paths::pathArgument(bezier), paths::Extent::allElements);
  std::vector<Descriptor> points;
  points.reserve(path.points.size());
  for (const AnchorPoint& point : path.points)
    points.push_back(Descriptor::record({{fourCC("pAnc"), pairDescriptor(point.anchor)},
                                         {fourCC("caIN"), pairDescriptor(point.left)},
                                         {fourCC("caOT"), pairDescriptor(point.right)}}));
  return Value::descriptor(Descriptor::record(
      {{fourCC("aiEP"), Descriptor::list(std::move(points))}, {fourCC("aiCl"), Descriptor::fromBool(path.closed)}}));
}

// The points as pathOfBezier: writes them, of every subpath.
Value KRVForder::bezierForID_(const Value& bezier) {
  paths::AnchorPoints path = paths::anchorPoints(paths::pathArgument(bezier), paths::Extent::allElements);
  std::vector<Descriptor> points;
  points.reserve(path.points.size());
  for (const AnchorPoint& point : path.points) points.push_back(pathPointDescriptor(point));
  return Value::descriptor(
      Descriptor::record({{fourCC("ptyp"), Descriptor::fromFourCC(codes::enumerated, fourCC(path.closed ? "clsd" : "opnp"))},
                          {fourCC("plst"), Descriptor::list(std::move(points))}}));
}

// Each number as a "doub" descriptor; an item that is not a number gives the
// script's missing value ("type" "msng") in its place.
Value KRVForder::KRV_descriptorForArrayOfReals_(const Value& numbers) {
  if (!numbers.isList()) return Value();
  std::vector<Descriptor> items;
  items.reserve(numbers.asList().size());
  for (const Value& item : numbers.asList())
    items.push_back(item.isNumber() ? Descriptor::fromDouble(item.doubleValue())
                                    : Descriptor::fromFourCC(codes::typeCode, fourCC("msng")));
  return Value::descriptor(Descriptor::list(std::move(items)));
}

void registerBezierCommands(Registry& r) {
  r.add<&KRVForder::pathOfBezier_>("pathOfBezier:");
  r.add<&KRVForder::bezierForAI_>("bezierForAI:");
  r.add<&KRVForder::bezierForID_>("bezierForID:");
  r.add<&KRVForder::KRV_descriptorForArrayOfReals_>("KRV_descriptorForArrayOfReals:", Visibility::privateOperation);
}

}  // namespace tessaro
