#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "AccessibilitySupport/Access/AXWrapper.h"
#include "Base/Geometry/Geometry.h"
#include "ComputerUsePlatform/Windows/WindowServerAccessBroker.h"
#include "ComputerUsePlatform/Windows/WindowServerWindowSnapshot.h"

namespace tavik {

/// A window that the window server and the accessibility interface both know, joined
/// by title and frame: of each other they know nothing.
struct ApplicationWindow {
  /// A window of the window server that may be one.
  struct CGWindowInfo {
    std::uint32_t windowID = 0;
    std::optional<std::string> name;
    Rect bounds;
    bool isOnScreen = false;
    int layer = 0;
    std::int32_t ownerPID = 0;
  };

  AXElement axWindow;
  std::uint32_t windowID = 0;
  /// The window server's number as the accessibility interface tells it, where the
  /// platform lets it tell.
  std::optional<std::uint32_t> accessibilityWindowID;
  std::int32_t pid = 0;
  std::optional<std::string> title;
  /// Global points.
  Rect bounds;
  bool isOnScreen = false;
  int layer = 0;
};

/// Finds application windows. Any thread; reads block as the access layer says.
class ApplicationWindows {
 public:
  ApplicationWindows(AXWrapper& access, WindowServerAccessBroker& broker) : access_(access), broker_(broker) {}

  /// The application's windows: those on screen from front to back, then hidden
  /// ones, then those that are not ordinary; each once. `windows` is the request's
  /// view, or null to ask anew.
  std::vector<ApplicationWindow> windowsForPID(std::int32_t pid, WindowServerWindowSnapshot* windows);
  std::optional<ApplicationWindow> window(std::int32_t pid, std::uint32_t windowID,
                                          WindowServerWindowSnapshot* windows);
  /// Reads bounds and visibility anew; a window that is gone stays as it was and is
  /// no longer on screen.
  void refresh(ApplicationWindow& window);
  /// The window that lies in front at a global point, whichever application's.
  std::optional<ApplicationWindow> windowAtPoint(Point point);

  /// Windows with a number and bounds of at least 16 by 16 points.
  std::vector<ApplicationWindow::CGWindowInfo> getCGWindowsForPID(std::int32_t pid, std::uint32_t options,
                                                                  bool allowsNonOrdinaryLayer, bool requiresOnScreen,
                                                                  WindowServerWindowSnapshot* windows);
  std::optional<Rect> getCGWindowBounds(std::uint32_t windowID);
  std::optional<std::uint32_t> cgWindowIDAtPoint(Point point);

  /// The accessibility window that shows the window; absent when none overlaps it.
  std::optional<AXElement> bestMatchingAXWindow(const ApplicationWindow::CGWindowInfo& window,
                                                const std::vector<AXElement>& axWindows);
  /// Those that the application lists, then the focused and the main one where they
  /// are missing from the list.
  std::vector<AXElement> axWindows(std::int32_t pid);

 private:
  std::optional<ApplicationWindow::CGWindowInfo> cgWindowAtPoint(Point point);
  std::optional<AXElement> fallbackWindow(std::int32_t pid);

  AXWrapper& access_;
  WindowServerAccessBroker& broker_;
};

}  // namespace tavik
