#pragma once

#include <cstdint>
#include <optional>

#include "AccessibilitySupport/Access/LiveElementReader.h"
#include "AccessibilitySupport/Focus/SystemFocusStealPreventer.h"
#include "ComputerUseContracts/ComputerUseIPCAction.h"
#include "ComputerUseContracts/ToolResult.h"
#include "ComputerUseToolRuntime/Actions/InteractionCursor.h"
#include "ComputerUseToolRuntime/Actions/ScreenGeometry.h"

namespace tavik {

/// Drags from one pixel of the last picture to another: a slider or scroll bar by its
/// value, anything else by events into the window. Any thread.
class DragAction {
 public:
  struct Services {
    AXWrapper& access;
    InteractionCursor& cursor;
    ScreenGeometry& geometry;
    SystemFocusStealPreventer& focusStealPreventer;
    Scheduler& scheduler;
  };
  explicit DragAction(const Services& services) : services_(services), reader_(services.access) {}

  /// Throws `ToolError`, `MouseEventTarget::Error` and `CancellationError`.
  ToolResult perform(std::int32_t pid, const DragParams& params);

 private:
  bool performAXValueDragIfPossible(Point from, Point to, std::int32_t pid);
  AXElement nearestCoordinateValueElement(const AXElement& from);

  const Services services_;
  const LiveElementReader reader_;
};

}  // namespace tavik
