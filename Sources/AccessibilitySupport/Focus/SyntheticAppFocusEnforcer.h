#pragma once

#include <cstdint>

#include "PlatformInterfaces/EventPostingPort.h"

namespace tavik::SyntheticAppFocusEnforcer {

/// Tells a process that it may act as if it were the active application, without
/// activating it. Nothing happens for pid 0 and where the platform has no such
/// event. Any thread.
void postSyntheticFocusEvent(EventPostingPort& port, std::int32_t to);

}  // namespace tavik::SyntheticAppFocusEnforcer
