#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "Base/Concurrency/Mutex.h"
#include "ComputerUsePlatform/Windows/WindowServerAccessBroker.h"
#include "PlatformInterfaces/WindowServerPort.h"

namespace tavik {

/// The windows as one request sees them: each kind of list is asked for once and
/// then stays as it is. Any thread; two racing first calls may both ask, and the
/// later answer stays.
class WindowServerWindowSnapshot {
 public:
  using WindowList = std::vector<WindowRecord>;
  using Loader =
      std::function<std::optional<WindowList>(std::uint32_t options, std::uint32_t relativeToWindow, const char* reason)>;

  explicit WindowServerWindowSnapshot(Loader loader) : loader_(std::move(loader)) {}
  explicit WindowServerWindowSnapshot(WindowServerAccessBroker& broker)
      : WindowServerWindowSnapshot([&broker](std::uint32_t options, std::uint32_t relativeToWindow, const char* reason) {
          return broker.copyWindowInfo(options, relativeToWindow, reason);
        }) {}

  /// From front to back; absent when the window server did not answer.
  std::optional<WindowList> copyWindowInfo(std::uint32_t options, std::uint32_t relativeToWindow, const char* reason);
  std::optional<WindowList> onScreenNonDesktopWindows(const char* reason);

 private:
  const Loader loader_;
  Mutex lock_;
  std::map<std::pair<std::uint32_t, std::uint32_t>, WindowList> cache_;
};

}  // namespace tavik
