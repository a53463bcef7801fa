// The rules that turn IBus's engines into enabled sources and a layout source.
#include "services/input_sources.hpp"

#include <algorithm>

namespace tessaro::services {

using platform::EngineInfo;

bool isLayoutEngine(const EngineInfo& engine) { return engine.name.starts_with("xkb:"); }

std::vector<EngineInfo> enabledEngines(std::span<const EngineInfo> installed,
                                       std::span<const std::string> enabledNames) {
  std::vector<EngineInfo> enabled;
  for (const std::string& name : enabledNames) {
    auto named = [&](const EngineInfo& e) { return e.name == name; };
    if (std::any_of(enabled.begin(), enabled.end(), named)) continue;
    auto found = std::find_if(installed.begin(), installed.end(), named);
    if (found != installed.end()) enabled.push_back(*found);
  }
  return enabled;
}

std::optional<std::string> layoutSourceFor(const std::optional<EngineInfo>& current,
                                           std::span<const EngineInfo> enabled,
                                           std::span<const EngineInfo> installed) {
  if (current && isLayoutEngine(*current)) return current->name;
  if (current) {
    auto sameLayout = [&](const EngineInfo& e) {
      return isLayoutEngine(e) && e.layout == current->layout && e.layoutVariant == current->layoutVariant;
    };
    for (std::span<const EngineInfo> engines : {enabled, installed}) {
      auto found = std::find_if(engines.begin(), engines.end(), sameLayout);
      if (found != engines.end()) return found->name;
    }
  }
  auto firstLayout = std::find_if(enabled.begin(), enabled.end(), isLayoutEngine);
  if (firstLayout != enabled.end()) return firstLayout->name;
  return std::nullopt;
}

}  // namespace tessaro::services
