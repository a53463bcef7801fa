// How the input-source commands read IBus's engines: which installed engines
// the enabled list names, and which engine stands for the current keyboard
// layout. Pure functions over engine descriptions, so that the rules can be
// checked without a daemon.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/ibus_engines.hpp"

namespace tessaro::services {

// True for the engines that are plain keyboard layouts ("xkb:us::eng").
bool isLayoutEngine(const platform::EngineInfo& engine);

// The installed engines that `enabledNames` names, in the list's order. A
// name no installed engine has is skipped (it cannot be selected), and so is
// a name listed a second time. When several engines share a name, the first
// in the daemon's order stands for it.
std::vector<platform::EngineInfo> enabledEngines(std::span<const platform::EngineInfo> installed,
                                                 std::span<const std::string> enabledNames);

// The keyboard layout source for `current`: the current engine itself when it
// is a layout engine; else the layout engine with the layout and variant the
// current engine declares, an enabled one first, then any installed one; else
// the first enabled layout engine (also when no engine is current).
std::optional<std::string> layoutSourceFor(const std::optional<platform::EngineInfo>& current,
                                           std::span<const platform::EngineInfo> enabled,
                                           std::span<const platform::EngineInfo> installed);

}  // namespace tessaro::services
