#pragma once

#include <cstdint>

#include "AccessibilitySupport/Input/MouseEventTarget.h"
#include "AccessibilitySupport/Input/ScrollEventSynthesizer.h"
#include "ComputerUsePlatform/Windows/WindowUtilities.h"
#include "ComputerUseToolRuntime/Service/ToolSession.h"
#include "PlatformInterfaces/WorkspacePort.h"

namespace tavik {

/// The way from the model's picture to the screen, and from there to the window that
/// gets the input. Any thread; asks the window server, and throws only `ToolError`.
class ScreenGeometry {
 public:
  ScreenGeometry(ToolSession& session, WindowUtilities& windows, EventPostingPort& events, WorkspacePort& workspace)
      : session_(session), windows_(windows), events_(events), workspace_(workspace) {}

  /// Throws `actionRejected` when the last state has no picture to count pixels in.
  void requireFreshScreenshotGeometry(std::int32_t pid) const;
  /// The global point of a pixel of the last state's picture.
  Point screenPointFromScreenshotCoordinates(Point pixel) const;

  /// Whether input at the point reaches the application.
  bool coordinateMouseTargetIsBoundToApp(std::int32_t pid, Point point) const;
  /// Throws `actionRejected` unless it does.
  void requireBoundTarget(std::int32_t pid, Point point) const;
  [[noreturn]] static void rejectUnboundTarget();

  MouseEventTarget mouseEventTarget(std::int32_t pid, Point point) const;
  ScrollEventSynthesizer scrollEventTarget(std::int32_t pid, Point point) const;

  /// Throws `actionRejected` unless the application is in front.
  void rejectBackgroundRightClickIfNeeded(std::int32_t pid) const;

 private:
  struct TargetWindow {
    std::optional<std::uint32_t> windowID = {};
    std::optional<MouseEventTarget::TargetGeometry> geometry = {};
  };
  TargetWindow targetWindow(std::int32_t pid, Point point) const;

  ToolSession& session_;
  WindowUtilities& windows_;
  EventPostingPort& events_;
  WorkspacePort& workspace_;
};

}  // namespace tavik
