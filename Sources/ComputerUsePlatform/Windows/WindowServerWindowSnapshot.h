#pragma once

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "Base/Concurrency/Mutex.h"
#include "PlatformInterfaces/WindowServerPort.h"

namespace tavik {

/// The windows as one request sees them: each kind of list is asked for once and
/// then stays as it is. Any thread; two racing first calls may both ask, and the
/// later answer stays.
class WindowServerWindowSnapshot {
 public:
  explicit WindowServerWindowSnapshot(WindowServerPort& windowServer) : windowServer_(windowServer) {}

  /// From front to back; absent when the window server did not answer.
  std::optional<std::vector<WindowRecord>> copyWindowInfo(std::uint32_t options, std::uint32_t relativeToWindow = 0);

 private:
  WindowServerPort& windowServer_;
  Mutex mutex_;
  std::map<std::pair<std::uint32_t, std::uint32_t>, std::vector<WindowRecord>> cache_;
};

}  // namespace tavik
