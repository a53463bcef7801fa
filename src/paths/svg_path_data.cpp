// SVG path data to bezier elements. The grammar is SVG's: command letters,
// numbers that may run together ("0.5.5" is two numbers, "1-2" too), optional
// commas between numbers, and parameter groups that repeat a command without
// its letter (after a moveto, repeated pairs are linetos).
#include "paths/svg_path_data.hpp"

#include <charconv>
#include <cmath>

namespace tessaro::paths {

namespace {

using Element = BezierPath::Element;
using Kind = BezierPath::ElementKind;
using Point = BezierPath::Point;

constexpr double kPi = 3.14159265358979323846;

bool isWsp(char c) noexcept { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f'; }
bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }
bool isCommandLetter(char c) noexcept {
  switch (c) {
    case 'M': case 'm': case 'Z': case 'z': case 'L': case 'l': case 'H': case 'h': case 'V': case 'v':
    case 'C': case 'c': case 'S': case 's': case 'Q': case 'q': case 'T': case 't': case 'A': case 'a':
      return true;
    default:
      return false;
  }
}
char upper(char c) noexcept { return c >= 'a' && c <= 'z' ? char(c - 'a' + 'A') : c; }

Point operator+(Point a, Point b) noexcept { return {a.x + b.x, a.y + b.y}; }
Point operator-(Point a, Point b) noexcept { return {a.x - b.x, a.y - b.y}; }
Point operator*(double k, Point a) noexcept { return {k * a.x, k * a.y}; }
Point reflect(Point control, Point about) noexcept { return about + (about - control); }

class PathDataReader {
 public:
  PathDataReader(std::string_view text, std::vector<Element>& out) : s_(text), out_(out) {}

  bool run(std::string& error) {
    skipWsp();
    if (i_ == s_.size()) return true;
    if (s_[i_] != 'M' && s_[i_] != 'm') return fail(error, "path data must begin with a moveto");
    char command = 0;
    for (;;) {
      skipWsp();
      if (i_ == s_.size()) return true;
      char c = s_[i_];
      if (isCommandLetter(c)) {
        command = c;
        ++i_;
        skipWsp();
        firstArgument_ = true;
      } else if (command == 0 || upper(command) == 'Z' || !(c == ',' || startsNumber(c))) {
        return fail(error, std::string("unexpected '") + c + "'");
      }
      // A moveto's further coordinate pairs are linetos.
      if (!group(command)) return fail(error, problem_);
      if (command == 'M') command = 'L';
      if (command == 'm') command = 'l';
    }
  }

 private:
  bool fail(std::string& error, const std::string& what) const {
    error = what + " at offset " + std::to_string(i_) + " of the path data";
    return false;
  }

  void skipWsp() noexcept {
    while (i_ < s_.size() && isWsp(s_[i_])) ++i_;
  }
  // Between numbers and between parameter groups: white space, at most one
  // comma, white space. Directly after a command letter only white space.
  void separator() noexcept {
    if (firstArgument_) {
      firstArgument_ = false;
      return;
    }
    skipWsp();
    if (i_ < s_.size() && s_[i_] == ',') {
      ++i_;
      skipWsp();
    }
  }
  static bool startsNumber(char c) noexcept { return isDigit(c) || c == '.' || c == '-' || c == '+'; }

  bool number(double& v) {
    separator();
    std::size_t start = i_;
    if (i_ < s_.size() && (s_[i_] == '+' || s_[i_] == '-')) ++i_;
    std::size_t digits = 0;
    while (i_ < s_.size() && isDigit(s_[i_])) ++i_, ++digits;
    if (i_ < s_.size() && s_[i_] == '.') {
      ++i_;
      while (i_ < s_.size() && isDigit(s_[i_])) ++i_, ++digits;
    }
    if (digits == 0) {
      i_ = start;
      problem_ = "expected a number";
      return false;
    }
    if (i_ < s_.size() && (s_[i_] == 'e' || s_[i_] == 'E')) {
      std::size_t j = i_ + 1;
      if (j < s_.size() && (s_[j] == '+' || s_[j] == '-')) ++j;
      if (j < s_.size() && isDigit(s_[j])) {
        while (j < s_.size() && isDigit(s_[j])) ++j;
        i_ = j;
      }
    }
    const char* first = s_.data() + start + (s_[start] == '+' ? 1 : 0);
    auto [end, ec] = std::from_chars(first, s_.data() + i_, v);
    if (ec != std::errc() || end != s_.data() + i_) {
      i_ = start;
      problem_ = "number out of range";
      return false;
    }
    return true;
  }

  // An arc flag is a single '0' or '1', which may run into what follows.
  bool flag(bool& f) {
    separator();
    if (i_ < s_.size() && (s_[i_] == '0' || s_[i_] == '1')) {
      f = s_[i_++] == '1';
      return true;
    }
    problem_ = "expected an arc flag (0 or 1)";
    return false;
  }

  bool point(Point& p, bool relative) {
    if (!number(p.x) || !number(p.y)) return false;
    if (relative) p = p + current_;
    return true;
  }

  void emit(Kind kind, Point a = {}, Point b = {}, Point c = {}) {
    Element e;
    e.kind = kind;
    e.points[0] = a;
    e.points[1] = b;
    e.points[2] = c;
    out_.push_back(e);
  }
  // Drawing after a closepath starts a new subpath at the closed one's start.
  void beginDrawing() {
    if (afterClose_) emit(Kind::moveTo, start_);
    afterClose_ = false;
  }
  void lineTo(Point p) {
    beginDrawing();
    emit(Kind::lineTo, p);
    current_ = p;
  }
  void curveTo(Point c1, Point c2, Point p) {
    beginDrawing();
    emit(Kind::curveTo, c1, c2, p);
    current_ = p;
  }
  // The cubic that draws the same curve as the quadratic with control `q`.
  void quadraticTo(Point q, Point p) {
    Point p0 = current_;
    curveTo(p0 + (2.0 / 3.0) * (q - p0), p + (2.0 / 3.0) * (q - p), p);
  }

  // One parameter group of `command`, which may be a repetition.
  bool group(char command) {
    bool relative = command >= 'a' && command <= 'z';
    char kind = upper(command);
    Point p, c1, c2;
    switch (kind) {
      case 'M':
        if (!point(p, relative)) return false;
        afterClose_ = false;
        emit(Kind::moveTo, p);
        current_ = start_ = p;
        break;
      case 'Z':
        beginDrawing();
        emit(Kind::closePath);
        current_ = start_;
        afterClose_ = true;
        break;
      case 'L':
        if (!point(p, relative)) return false;
        lineTo(p);
        break;
      case 'H':
        if (!number(p.x)) return false;
        lineTo({relative ? current_.x + p.x : p.x, current_.y});
        break;
      case 'V':
        if (!number(p.y)) return false;
        lineTo({current_.x, relative ? current_.y + p.y : p.y});
        break;
      case 'C':
        if (!point(c1, relative) || !point(c2, relative) || !point(p, relative)) return false;
        curveTo(c1, c2, p);
        cubicControl_ = c2;
        break;
      case 'S':
        if (!point(c2, relative) || !point(p, relative)) return false;
        c1 = (last_ == 'C' || last_ == 'S') ? reflect(cubicControl_, current_) : current_;
        curveTo(c1, c2, p);
        cubicControl_ = c2;
        break;
      case 'Q':
        if (!point(c1, relative) || !point(p, relative)) return false;
        quadraticTo(c1, p);
        quadControl_ = c1;
        break;
      case 'T':
        if (!point(p, relative)) return false;
        c1 = (last_ == 'Q' || last_ == 'T') ? reflect(quadControl_, current_) : current_;
        quadraticTo(c1, p);
        quadControl_ = c1;
        break;
      case 'A': {
        double rx, ry, rotation;
        bool large, sweep;
        if (!number(rx) || !number(ry) || !number(rotation) || !flag(large) || !flag(sweep) || !point(p, relative))
          return false;
        arcTo(rx, ry, rotation, large, sweep, p);
        break;
      }
    }
    last_ = kind;
    return true;
  }

  // An elliptical arc from the current point to `p`, as at most four cubic
  // curves of up to a quarter turn each (the endpoint-to-centre conversion
  // of the SVG implementation notes).
  void arcTo(double rx, double ry, double rotationDegrees, bool large, bool sweep, Point p) {
    Point p0 = current_;
    if (p0 == p) return;  // an arc to its own start draws nothing
    rx = std::fabs(rx);
    ry = std::fabs(ry);
    if (rx == 0 || ry == 0 || !std::isfinite(rx) || !std::isfinite(ry)) return lineTo(p);
    double phi = std::fmod(rotationDegrees, 360.0) * kPi / 180.0;
    double cosPhi = std::cos(phi), sinPhi = std::sin(phi);
    double dx = (p0.x - p.x) / 2, dy = (p0.y - p.y) / 2;
    double x1 = cosPhi * dx + sinPhi * dy;
    double y1 = -sinPhi * dx + cosPhi * dy;
    // Radii too small to reach the end point are scaled up until they do.
    double lambda = (x1 * x1) / (rx * rx) + (y1 * y1) / (ry * ry);
    if (lambda > 1) {
      double k = std::sqrt(lambda);
      rx *= k;
      ry *= k;
    }
    double rx2 = rx * rx, ry2 = ry * ry;
    double numerator = rx2 * ry2 - rx2 * y1 * y1 - ry2 * x1 * x1;
    double denominator = rx2 * y1 * y1 + ry2 * x1 * x1;
    double coefficient = denominator > 0 ? std::sqrt(std::fmax(0.0, numerator / denominator)) : 0.0;
    if (large == sweep) coefficient = -coefficient;
    double cx1 = coefficient * rx * y1 / ry;
    double cy1 = -coefficient * ry * x1 / rx;
    Point centre{cosPhi * cx1 - sinPhi * cy1 + (p0.x + p.x) / 2, sinPhi * cx1 + cosPhi * cy1 + (p0.y + p.y) / 2};
    auto angle = [](double ux, double uy, double vx, double vy) {
      return std::atan2(ux * vy - uy * vx, ux * vx + uy * vy);
    };
    double theta = angle(1, 0, (x1 - cx1) / rx, (y1 - cy1) / ry);
    double delta = angle((x1 - cx1) / rx, (y1 - cy1) / ry, (-x1 - cx1) / rx, (-y1 - cy1) / ry);
    if (!sweep && delta > 0) delta -= 2 * kPi;
    if (sweep && delta < 0) delta += 2 * kPi;
    if (!std::isfinite(delta) || !std::isfinite(theta) || !std::isfinite(centre.x) || !std::isfinite(centre.y))
      return lineTo(p);

    int segments = int(std::ceil(std::fabs(delta) / (kPi / 2) - 1e-9));
    if (segments < 1) segments = 1;
    if (segments > 4) segments = 4;
    double step = delta / segments;
    double t = 4.0 / 3.0 * std::tan(step / 4);
    // A point of the unit circle's frame mapped onto the ellipse.
    auto onEllipse = [&](double ux, double uy) {
      return Point{centre.x + rx * cosPhi * ux - ry * sinPhi * uy, centre.y + rx * sinPhi * ux + ry * cosPhi * uy};
    };
    for (int k = 0; k < segments; ++k) {
      double a1 = theta + k * step, a2 = a1 + step;
      double cos1 = std::cos(a1), sin1 = std::sin(a1), cos2 = std::cos(a2), sin2 = std::sin(a2);
      Point c1 = onEllipse(cos1 - t * sin1, sin1 + t * cos1);
      Point c2 = onEllipse(cos2 + t * sin2, sin2 - t * cos2);
      Point end = k + 1 == segments ? p : onEllipse(cos2, sin2);
      curveTo(c1, c2, end);
    }
  }

  std::string_view s_;
  std::vector<Element>& out_;
  std::size_t i_ = 0;
  bool firstArgument_ = false;
  bool afterClose_ = false;
  char last_ = 0;  // the previous command, upper-case
  Point current_, start_, cubicControl_, quadControl_;
  std::string problem_;
};

}  // namespace

bool parseSvgPathData(std::string_view text, std::vector<Element>& out, std::string& error) {
  return PathDataReader(text, out).run(error);
}

}  // namespace tessaro::paths
