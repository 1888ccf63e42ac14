#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "AccessibilitySupport/Access/AXWrapper.h"
#include "Base/Geometry/Geometry.h"

namespace tavik {

/// Joins the windows of the window server with those of the accessibility
/// interface, which know nothing of each other but title and frame.
class ApplicationWindow {
 public:
  /// The accessibility window of the application that shows the window with these
  /// bounds and this title; absent when none overlaps it.
  static std::optional<AXElement> bestMatchingAXWindow(AXWrapper& access, const Rect& bounds,
                                                       const std::optional<std::string>& name,
                                                       const std::vector<AXElement>& axWindows);

  /// The application's accessibility windows: those that it lists, then the focused
  /// and the main one where they are missing from the list.
  static std::vector<AXElement> axWindows(AXWrapper& access, std::int32_t pid);

  /// The frame that an accessibility window states; absent without a positive size.
  static std::optional<Rect> frameOf(AXWrapper& access, const AXElement& axWindow);
};

}  // namespace tavik
