// Two graphic attributes read for scripts: the dash of a bezier path and the
// components of a colour.
#include "paths/graphic_arguments.hpp"
#include "registry/subsystems.hpp"
#include "tessaro/krv_forder.hpp"
#include "tessaro/registry.hpp"

namespace tessaro {

// The path is asked for its dash with room for one pattern entry, so only
// the first length is reported, with the entry count and the phase. A path
// without a dash pattern reports a first length of 0 and a count of 0.
Value KRVForder::lineDashCountAndPhaseOfBezier_(const Value& bezier) {
  const BezierPath& path = paths::pathArgument(bezier);
  const double first = path.dash.empty() ? 0.0 : path.dash.front();
  return Value::list({Value::real(first), Value::integer(std::int64_t(path.dash.size())), Value::real(path.phase)});
}

// Every component in the order of the colour's own space, alpha included.
Value KRVForder::componentsOfColor_(const Value& color) {
  ListBuilder components;
  for (double c : paths::colorArgument(color).components) components.push(Value::real(c));
  return components.finish();
}

void registerGraphicAttributeCommands(Registry& r) {
  r.add<&KRVForder::lineDashCountAndPhaseOfBezier_>("lineDashCountAndPhaseOfBezier:");
  r.add<&KRVForder::componentsOfColor_>("componentsOfColor:");
}

}  // namespace tessaro
