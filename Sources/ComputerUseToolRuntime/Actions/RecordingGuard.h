#pragma once

#include <functional>
#include <string>

#include "Base/Concurrency/Time.h"

namespace tavik {

/// Tells whoever records the user that the events on the screen are the tool's own
/// for a while. Called in pairs, on the action's thread; empty where nothing records.
struct RecordingGuard {
  std::function<void(const std::string& reason)> begin = {};
  /// The echoes of the action may last that much longer.
  std::function<void(const std::string& reason, Duration echo)> end = {};
};

}  // namespace tavik
