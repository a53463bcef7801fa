#include "tessaro/environment.hpp"

#include "platform/icu_dates.hpp"

namespace tessaro {
void reloadEnvironmentDefaults() { platform::resetDateDefaultsFromEnvironment(); }
}  // namespace tessaro
