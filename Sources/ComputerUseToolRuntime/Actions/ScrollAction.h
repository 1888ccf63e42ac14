#pragma once

#include <cstdint>
#include <optional>

#include "AccessibilitySupport/Focus/SystemFocusStealPreventer.h"
#include "AccessibilitySupport/Input/UIElementScrollOperation.h"
#include "ComputerUseContracts/ComputerUseIPCAction.h"
#include "ComputerUseContracts/ToolResult.h"
#include "ComputerUseToolRuntime/Actions/ElementLookup.h"
#include "ComputerUseToolRuntime/Actions/InteractionCursor.h"
#include "ComputerUseToolRuntime/Actions/ScreenGeometry.h"

namespace tavik {

/// Scrolls an element: by its scroll bar's value, else by wheel events into its
/// window, else by page actions. Any thread.
class ScrollAction {
 public:
  struct Services {
    ElementLookup& elements;
    AXWrapper& access;
    InteractionCursor& cursor;
    ScreenGeometry& geometry;
    SystemFocusStealPreventer& focusStealPreventer;
    WindowServerAccessBroker& windowServer;
    Scheduler& scheduler;
  };
  explicit ScrollAction(const Services& services) : services_(services) {}

  /// Throws `ToolError`, `ScrollEventSynthesizer::Error` and `CancellationError`.
  ToolResult perform(std::int32_t pid, const ScrollParams& params);

 private:
  void scrollByEvents(std::int32_t pid, UIElementScrollOperation& operation, ScrollDirection direction, double pages,
                      const UIElementScrollOperation::EventPlan& plan);
  std::optional<Rect> appFrame(std::int32_t pid);

  const Services services_;
};

}  // namespace tavik
