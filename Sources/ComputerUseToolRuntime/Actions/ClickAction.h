#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "AccessibilitySupport/Focus/SystemFocusStealPreventer.h"
#include "ComputerUseContracts/ComputerUseIPCAction.h"
#include "ComputerUseContracts/ToolResult.h"
#include "ComputerUseToolRuntime/Actions/ElementLookup.h"
#include "ComputerUseToolRuntime/Actions/InteractionCursor.h"
#include "ComputerUseToolRuntime/Actions/ScreenGeometry.h"
#include "ComputerUseToolRuntime/State/BackgroundMenuState.h"

namespace tavik {

/// A click, by the least intrusive means that has its effect: what the application
/// itself offers first, an event into its window last. The application never comes
/// to the front. Any thread.
class ClickAction {
 public:
  struct Services {
    ElementLookup& elements;
    AXWrapper& access;
    InteractionCursor& cursor;
    ScreenGeometry& geometry;
    SystemFocusStealPreventer& focusStealPreventer;
    BackgroundMenuState& backgroundMenus;
    Scheduler& scheduler;
  };
  explicit ClickAction(const Services& services) : services_(services), reader_(services.access) {}

  /// Throws `ToolError`, `MouseEventTarget::Error` and `CancellationError`.
  ToolResult perform(std::int32_t pid, const ClickParams& params);

 private:
  using Button = MouseEventTarget::MouseButton;
  struct Target;

  ToolResult clickElement(std::int32_t pid, const ClickParams& params);
  void rightClick(const Target& target);
  void middleClick(const Target& target);
  void multiClick(const Target& target, std::int64_t clickCount);
  void primaryClick(const Target& target);

  ToolResult clickPoint(std::int32_t pid, const ClickParams& params);
  bool primaryClickHit(std::int32_t pid, const AXElement& hit);
  bool rightClickHit(const AXElement& hit);

  bool performPrimaryLeftClick(const AXElement& element, const std::optional<std::string>& role);
  bool menuBarItemHasActiveMenu(const AXElement& element);
  bool selectElementIfSupported(const AXElement& element);
  /// Performs it where the element offers it, or does not say what it offers.
  bool performIfSupported(const AXElement& element, const std::string& action);
  /// Throws `actionRejected` when there is none.
  Point clickPoint(const AXElement& element);
  void performMouseClick(std::int32_t pid, Point at, Button button, std::int64_t clickCount, bool includeMove,
                         bool allowUnboundSystemMenuBarPoint = false);

  const Services services_;
  const LiveElementReader reader_;
};

}  // namespace tavik
