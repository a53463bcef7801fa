// Host objects that some commands take: bezier paths, colours, locales and
// script targets. They come from the notation's "$bezier", "$color",
// "$locale" and "$script" forms.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "tessaro/value.hpp"

namespace tessaro {

class BezierPath final : public HostObject {
 public:
  enum class ElementKind : std::uint8_t { moveTo, lineTo, curveTo, closePath };
  struct Point {
    double x = 0, y = 0;
    friend bool operator==(const Point&, const Point&) = default;
  };
  // A curveTo uses all three points (two control points, then the end point);
  // moveTo and lineTo use the first; closePath none.
  struct Element {
    ElementKind kind = ElementKind::moveTo;
    Point points[3] = {};
    friend bool operator==(const Element&, const Element&) = default;
  };

  std::vector<Element> elements;
  std::vector<double> dash;  // empty: no dash pattern
  double phase = 0;          // where in the dash pattern the stroke starts

  // Whether "dash" and "phase" were written in the notation. The printed
  // form names "dash" when the path has a dash pattern or "dash" was
  // written, and "phase" when the phase is not 0 or "phase" was written, so
  // that a path prints back as it was written: {"dash": [5.0, 2.0]} gains
  // no "phase": 0.0, and a "phase" without a "dash" (meaningless, but
  // harmless) or an empty "dash" is kept rather than refused or dropped.
  // Equality ignores these flags: a phase of 0 written or left out, an empty
  // dash pattern written or left out, make the same path.
  bool dashWritten = false, phaseWritten = false;

  std::string_view tag() const noexcept override { return "$bezier"; }
  bool equals(const HostObject& other) const override;
};

class Color final : public HostObject {
 public:
  std::string space;               // "gray", "rgb", "cmyk", …
  std::vector<double> components;  // as given, alpha last

  std::string_view tag() const noexcept override { return "$color"; }
  bool equals(const HostObject& other) const override;
};

class LocaleObject final : public HostObject {
 public:
  std::string identifier;  // an ICU locale identifier

  std::string_view tag() const noexcept override { return "$locale"; }
  bool equals(const HostObject& other) const override;
};

// An object whose handlers run as an external command: calling handler H
// with arguments A1…An runs the command with H and each Ai (in the notation)
// appended, and reads one value in the notation from its standard output.
class ScriptTarget final : public HostObject {
 public:
  std::vector<std::string> command;  // empty: a script with no handlers

  std::string_view tag() const noexcept override { return "$script"; }
  bool hasHandlers() const noexcept { return !command.empty(); }
  // Throws an unrecognizedSelector failure when there are no handlers, and an
  // invalidArgument failure when the command exits non-zero or prints
  // something unreadable.
  Value call(std::string_view handler, std::span<const Value> args) const;
};

}  // namespace tessaro
