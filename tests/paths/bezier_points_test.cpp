#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "paths/bezier_points.hpp"
#include "tessaro/host_objects.hpp"
#include "tessaro/krv_forder.hpp"
#include "tessaro/notation.hpp"

namespace tessaro::paths {
namespace {

const BezierPath& pathOf(const Value& v) {
  const auto* path = v.objectAs<BezierPath>();
  EXPECT_NE(path, nullptr);
  return *path;
}

void expectNear(Point actual, Point expected, const char* what) {
  EXPECT_NEAR(actual.x, expected.x, 1e-9) << what;
  EXPECT_NEAR(actual.y, expected.y, 1e-9) << what;
}

// The handle length that makes a quarter circle of radius r from one cubic.
double quarterHandle(double r) { return r * 4.0 / 3.0 * std::tan(std::numbers::pi / 8); }

// A half circle from (0, 0) to (20, 0) through (10, -10), as SVG draws it,
// shifted by `offset`: two quarter-circle curves, so three curve points
// whose handles are tangent to the circle.
void expectHalfCircle(const AnchorPoints& points, Point offset) {
  const double k = quarterHandle(10);
  auto at = [&](double x, double y) { return Point{x + offset.x, y + offset.y}; };
  ASSERT_EQ(points.points.size(), 3u);
  for (const AnchorPoint& p : points.points) EXPECT_EQ(p.type, PointType::curveTo);
  EXPECT_FALSE(points.closed);
  expectNear(points.points[0].anchor, at(0, 0), "start anchor");
  expectNear(points.points[0].left, at(0, 0), "start, retracted incoming handle");
  expectNear(points.points[0].right, at(0, -k), "start, outgoing handle");
  expectNear(points.points[1].left, at(10 - k, -10), "top, incoming handle");
  expectNear(points.points[1].anchor, at(10, -10), "top anchor");
  expectNear(points.points[1].right, at(10 + k, -10), "top, outgoing handle");
  expectNear(points.points[2].left, at(20, -k), "end, incoming handle");
  expectNear(points.points[2].anchor, at(20, 0), "end anchor");
  expectNear(points.points[2].right, at(20, 0), "end, outgoing handle (none follows)");
}

TEST(BezierPoints, ArcsAbsoluteAndRelativeBecomeCurvePoints) {
  expectHalfCircle(anchorPoints(pathOf(readNotation(R"({"$bezier": "M 0 0 A 10 10 0 0 1 20 0"})")),
                                Extent::allElements),
                   {0, 0});
  expectHalfCircle(anchorPoints(pathOf(readNotation(R"({"$bezier": "M 5 5 a 10 10 0 0 1 20 0"})")),
                                Extent::allElements),
                   {5, 5});
  expectHalfCircle(anchorPoints(pathOf(readNotation(R"({"$bezier": "m5,5a10,10,0,0,1,20,0"})")),
                                Extent::firstClosedSubpath),
                   {5, 5});
}

TEST(BezierPoints, QuadraticCurvesGetTheirCubicHandles) {
  // The quadratic with control (3, 3) is the cubic with controls (2, 2) and
  // (4, 2); a smooth quadratic reflects the control point.
  AnchorPoints points = anchorPoints(pathOf(readNotation(R"({"$bezier": "M0 0 Q3 3 6 0 t6 0"})")),
                                     Extent::allElements);
  ASSERT_EQ(points.points.size(), 3u);
  expectNear(points.points[0].right, {2, 2}, "first outgoing handle");
  expectNear(points.points[1].left, {4, 2}, "middle incoming handle");
  expectNear(points.points[1].right, {8, -2}, "middle outgoing handle");
  expectNear(points.points[2].left, {10, -2}, "last incoming handle");
  expectNear(points.points[2].anchor, {12, 0}, "last anchor");
}

TEST(BezierPoints, ArcPathAsApplicationRecords) {
  // The ID record writes every point of an arc as three pairs; the AI record
  // holds the same handles under its keywords.
  Value path = readNotation(R"({"$bezier": "M 0 0 A 10 10 0 0 1 20 0 Z M 0 0"})");
  Value id = KRVForder::bezierForID_(path);
  ASSERT_TRUE(id.isDescriptor());
  const Descriptor* list = id.asDescriptor().field(fourCC("plst"));
  ASSERT_NE(list, nullptr);
  ASSERT_EQ(list->items().size(), 3u);
  for (const Descriptor& point : list->items()) ASSERT_EQ(point.items().size(), 3u);
  EXPECT_EQ(*id.asDescriptor().field(fourCC("ptyp")), Descriptor::fromFourCC(codes::enumerated, fourCC("clsd")));

  Value ai = KRVForder::bezierForAI_(path);
  ASSERT_TRUE(ai.isDescriptor());
  const Descriptor* points = ai.asDescriptor().field(fourCC("aiEP"));
  ASSERT_NE(points, nullptr);
  ASSERT_EQ(points->items().size(), 3u);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(*points->items()[i].field(fourCC("caIN")), list->items()[i].items()[0]) << i;
    EXPECT_EQ(*points->items()[i].field(fourCC("pAnc")), list->items()[i].items()[1]) << i;
    EXPECT_EQ(*points->items()[i].field(fourCC("caOT")), list->items()[i].items()[2]) << i;
  }
  EXPECT_EQ(*ai.asDescriptor().field(fourCC("aiCl")), Descriptor::fromBool(true));
}

}  // namespace
}  // namespace tessaro::paths
