// Reads SVG path data ("M 0 0 L 10 0 C 1 2 3 4 5 6 Z") into bezier path
// elements. Every command is understood, absolute and relative; quadratic
// curves and elliptical arcs become cubic curves as SVG renderers draw them,
// and a closepath followed by more drawing starts the next subpath with an
// explicit moveto to the closed subpath's start.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tessaro/host_objects.hpp"

namespace tessaro::paths {

// Appends the elements that `text` describes to `out`. Returns false, with a
// short description of the first problem in `error`, when `text` is not path
// data; `out` then holds an unspecified prefix of the path.
bool parseSvgPathData(std::string_view text, std::vector<BezierPath::Element>& out, std::string& error);

}  // namespace tessaro::paths
