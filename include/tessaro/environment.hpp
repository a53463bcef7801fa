// The process's locale, calendar and time zone come from its environment
// (LC_ALL, else LANG; TZ). Call this once at start-up, and again after
// changing those variables, so that every command sees them.
#pragma once

namespace tessaro {
void reloadEnvironmentDefaults();
}  // namespace tessaro
