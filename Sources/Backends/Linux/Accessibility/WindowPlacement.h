#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "PlatformInterfaces/WindowServerPort.h"

namespace tavik {

/// What only the window server knows of the windows of applications. Any thread.
class WindowPlacement {
 public:
  explicit WindowPlacement(WindowServerPort& windowServer) : windowServer_(windowServer) {}

  /// The window of this process that has this title, if there is one, and whose
  /// size is nearest to this one.
  std::optional<WindowRecord> find(std::int32_t pid, const std::string& title, Size size);
  /// The process whose window is in front at a point. Windows of this process,
  /// which lets clicks through, do not count.
  std::optional<std::int32_t> frontmostProcess(Point point);

 private:
  WindowServerPort& windowServer_;
};

}  // namespace tavik
