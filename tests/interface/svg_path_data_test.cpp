#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "paths/svg_path_data.hpp"

namespace tessaro::paths {
namespace {

using Kind = BezierPath::ElementKind;
using Element = BezierPath::Element;
using Point = BezierPath::Point;

std::vector<Element> parse(std::string_view text) {
  std::vector<Element> out;
  std::string error;
  EXPECT_TRUE(parseSvgPathData(text, out, error)) << text << ": " << error;
  return out;
}

Element move(double x, double y) { return {Kind::moveTo, {{x, y}}}; }
Element line(double x, double y) { return {Kind::lineTo, {{x, y}}}; }
Element curve(Point a, Point b, Point c) { return {Kind::curveTo, {a, b, c}}; }
Element close() { return {Kind::closePath, {}}; }

void expectNear(const Element& actual, const Element& expected) {
  EXPECT_EQ(actual.kind, expected.kind);
  for (int i = 0; i < 3; ++i) {
    EXPECT_NEAR(actual.points[i].x, expected.points[i].x, 1e-9) << "point " << i;
    EXPECT_NEAR(actual.points[i].y, expected.points[i].y, 1e-9) << "point " << i;
  }
}

TEST(SvgPathData, AbsoluteAndRelativeLines) {
  EXPECT_EQ(parse("M 0 0 L 10 0 C 1 2 3 4 5 6 Z"),
            (std::vector<Element>{move(0, 0), line(10, 0), curve({1, 2}, {3, 4}, {5, 6}), close()}));
  EXPECT_EQ(parse("m 1 1 l 2 0 h 3 v 4 H 0 V -1 z"),
            (std::vector<Element>{move(1, 1), line(3, 1), line(6, 1), line(6, 5), line(0, 5), line(0, -1), close()}));
  EXPECT_EQ(parse("M 1 2 c 1 1 2 2 3 3 c 1 0 1 0 1 0"),
            (std::vector<Element>{move(1, 2), curve({2, 3}, {3, 4}, {4, 5}), curve({5, 5}, {5, 5}, {5, 5})}));
  EXPECT_TRUE(parse("").empty());
  EXPECT_TRUE(parse(" \n\t").empty());
}

TEST(SvgPathData, CompactSyntax) {
  // Pairs after a moveto are linetos (relative after "m"); numbers may run together.
  EXPECT_EQ(parse("M 0 0 1 1 2 2"), (std::vector<Element>{move(0, 0), line(1, 1), line(2, 2)}));
  EXPECT_EQ(parse("m 1 1 2 2"), (std::vector<Element>{move(1, 1), line(3, 3)}));
  EXPECT_EQ(parse("M0.5.5L-1-2"), (std::vector<Element>{move(0.5, 0.5), line(-1, -2)}));
  EXPECT_EQ(parse("M1e1,2E-1l+1,-.5"), (std::vector<Element>{move(10, 0.2), line(11, -0.3)}));
  EXPECT_EQ(parse("M 0,0 L 1,1, 2,2"), (std::vector<Element>{move(0, 0), line(1, 1), line(2, 2)}));
  EXPECT_EQ(parse("M0 0L1 1 2 2"), (std::vector<Element>{move(0, 0), line(1, 1), line(2, 2)}));
}

TEST(SvgPathData, DrawingAfterClosepathStartsAtTheSubpathStart) {
  EXPECT_EQ(parse("M 1 1 L 2 2 Z L 3 3"),
            (std::vector<Element>{move(1, 1), line(2, 2), close(), move(1, 1), line(3, 3)}));
  // A relative moveto after a closepath is relative to the subpath's start, and needs no implied moveto.
  EXPECT_EQ(parse("M 1 1 L 5 5 z m 1 1 l 1 0"),
            (std::vector<Element>{move(1, 1), line(5, 5), close(), move(2, 2), line(3, 2)}));
  EXPECT_EQ(parse("M 1 1 L 2 2 Z"), (std::vector<Element>{move(1, 1), line(2, 2), close()}));
}

TEST(SvgPathData, SmoothAndQuadraticCurvesBecomeCubics) {
  auto s = parse("M 0 0 C 0 1 2 1 2 0 S 4 -1 4 0");
  ASSERT_EQ(s.size(), 3u);
  expectNear(s[2], curve({2, -1}, {4, -1}, {4, 0}));  // the reflected control point
  // Without a curve before it, S starts its handle at the current point.
  expectNear(parse("M 1 1 S 2 2 3 3")[1], curve({1, 1}, {2, 2}, {3, 3}));

  auto q = parse("M 0 0 Q 3 3 6 0 T 12 0 t 6 0");
  ASSERT_EQ(q.size(), 4u);
  expectNear(q[1], curve({2, 2}, {4, 2}, {6, 0}));
  expectNear(q[2], curve({8, -2}, {10, -2}, {12, 0}));  // control reflected to (9, -3)
  expectNear(q[3], curve({14, 2}, {16, 2}, {18, 0}));   // and back to (15, 3)
  expectNear(parse("M 0 0 L 3 0 T 6 3")[2], curve({3, 0}, {4, 1}, {6, 3}));
  expectNear(parse("m 1 1 q 3 3 6 0")[1], curve({3, 3}, {5, 3}, {7, 1}));
}

TEST(SvgPathData, ArcsBecomeQuarterTurnCubics) {
  auto arc = parse("M 0 0 A 1 1 0 0 1 2 0");
  ASSERT_EQ(arc.size(), 3u);  // a half circle: two quarter turns
  double k = 4.0 / 3.0 * std::tan(M_PI / 8);
  expectNear(arc[1], curve({0, -k}, {1 - k, -1}, {1, -1}));
  expectNear(arc[2], curve({1 + k, -1}, {2, -k}, {2, 0}));
  // The other sweep goes the other way round; radii too small are scaled up.
  auto other = parse("M0 0a.5 .5 0 002 0");
  ASSERT_EQ(other.size(), 3u);
  expectNear(other[1], curve({0, k}, {1 - k, 1}, {1, 1}));
  // A rotated elliptical arc of 200 degrees about the origin: three curves whose
  // ends and middles all lie on the ellipse.
  double phi = 30 * M_PI / 180, turn = 200 * M_PI / 180;
  auto onEllipse = [&](double t) {
    double x = 10 * std::cos(t), y = 5 * std::sin(t);
    return Point{x * std::cos(phi) - y * std::sin(phi), x * std::sin(phi) + y * std::cos(phi)};
  };
  Point from = onEllipse(0), to = onEllipse(turn);
  char text[200];
  std::snprintf(text, sizeof text, "M %.17g %.17g A 10 5 30 1 1 %.17g %.17g", from.x, from.y, to.x, to.y);
  auto ellipse = parse(text);
  ASSERT_EQ(ellipse.size(), 4u);
  EXPECT_EQ(ellipse.back().points[2], to);
  auto offEllipse = [&](Point p) {
    double x = p.x * std::cos(phi) + p.y * std::sin(phi), y = -p.x * std::sin(phi) + p.y * std::cos(phi);
    return std::fabs(std::hypot(x / 10, y / 5) - 1);
  };
  Point start = from;
  for (std::size_t i = 1; i < ellipse.size(); ++i) {
    const auto& p = ellipse[i].points;
    Point mid{(start.x + 3 * p[0].x + 3 * p[1].x + p[2].x) / 8, (start.y + 3 * p[0].y + 3 * p[1].y + p[2].y) / 8};
    EXPECT_LT(offEllipse(p[2]), 1e-9) << i;
    EXPECT_LT(offEllipse(mid), 1e-3) << i;
    start = p[2];
  }
  // A zero radius is a straight line; an arc to its own start draws nothing.
  EXPECT_EQ(parse("M 0 0 A 0 5 0 0 1 3 4"), (std::vector<Element>{move(0, 0), line(3, 4)}));
  EXPECT_EQ(parse("M 1 1 A 5 5 0 0 1 1 1"), (std::vector<Element>{move(1, 1)}));
}

TEST(SvgPathData, MalformedDataIsReported) {
  for (const char* text : {"L 1 1", "M 1", "M 1 1 X 2", "M 1 1 Z 2", "M 1,", "M 1 1 L", "M,1 1", "M 1 1,",
                           "M 0 0 A 1 1 0 2 1 3 3", "M 1e999 0", "M 1 1 L 2 2 , L 3 3", "M 1e 2", "M 1 1 #"}) {
    std::vector<Element> out;
    std::string error;
    EXPECT_FALSE(parseSvgPathData(text, out, error)) << text;
    EXPECT_FALSE(error.empty()) << text;
  }
}

}  // namespace
}  // namespace tessaro::paths
