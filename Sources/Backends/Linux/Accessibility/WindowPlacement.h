#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Base/Geometry/Geometry.h"

namespace tavik {

/// A window as the display server knows it.
struct PlacedWindow {
  /// Without the shadow that the window draws around itself.
  Rect frame;
  std::string title;
};

/// What only the display server knows of windows. Any thread.
class WindowPlacement {
 public:
  virtual ~WindowPlacement() = default;

  /// The window of this process with this title; of several, and where none has it,
  /// the one whose size is nearest.
  virtual std::optional<PlacedWindow> window(std::int32_t pid, const std::string& title, Size size) = 0;
  /// The process whose window is in front at a point.
  virtual std::optional<std::int32_t> frontmostProcess(Point point) = 0;
};

}  // namespace tavik
