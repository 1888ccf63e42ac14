#pragma once

#include <cstdint>
#include <optional>

#include "ComputerUsePlatform/Windows/WindowServerAccessBroker.h"
#include "PlatformInterfaces/WindowServerPort.h"

namespace tavik {

/// Answers single questions about single windows. Points are global. Any thread.
class WindowUtilities {
 public:
  WindowUtilities(WindowServerPort& port, WindowServerAccessBroker& broker) : port_(port), broker_(broker) {}

  bool isWindowValid(std::uint32_t windowID);
  std::optional<Rect> windowFrame(std::uint32_t windowID);
  std::optional<std::int32_t> windowOwnerPID(std::uint32_t windowID);
  /// The frontmost window at the point; with `belowWindowID` other than 0 the
  /// frontmost of those behind that window.
  std::optional<std::uint32_t> windowNumber(Point at, std::uint32_t belowWindowID);
  /// The screen that the point lies on.
  std::optional<ScreenRecord> screen(Point containing);

 private:
  std::optional<WindowRecord> record(std::uint32_t windowID);

  WindowServerPort& port_;
  WindowServerAccessBroker& broker_;
};

}  // namespace tavik
