#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Base/Geometry/Geometry.h"

namespace tavik {

/// What only the display server knows of windows. Any thread.
class WindowPlacement {
 public:
  virtual ~WindowPlacement() = default;

  /// Where the window of this process with this title stands, without the shadow
  /// that it draws around itself; of several the one whose size is nearest.
  virtual std::optional<Rect> windowFrame(std::int32_t pid, const std::string& title, Size size) = 0;
  /// The process whose window is in front at a point.
  virtual std::optional<std::int32_t> frontmostProcess(Point point) = 0;
};

}  // namespace tavik
