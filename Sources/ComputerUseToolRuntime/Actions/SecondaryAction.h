#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "AccessibilitySupport/Access/LiveElementReader.h"
#include "AccessibilitySupport/Focus/SystemFocusStealPreventer.h"
#include "Base/Concurrency/WorkQueue.h"
#include "ComputerUseContracts/ComputerUseIPCAction.h"
#include "ComputerUseContracts/ToolError.h"
#include "ComputerUseContracts/ToolResult.h"
#include "ComputerUseToolRuntime/Actions/ElementLookup.h"
#include "ComputerUseToolRuntime/Actions/InteractionCursor.h"
#include "ComputerUseToolRuntime/Actions/ScreenGeometry.h"

namespace tavik {

/// Performs an action that the element names, sees to it that a picked menu item is
/// picked, and gives the front back to the application that had it. Any thread; the
/// application is asked on the main thread.
class SecondaryAction {
 public:
  struct Services {
    ElementLookup& elements;
    AXWrapper& access;
    InteractionCursor& cursor;
    ScreenGeometry& geometry;
    SystemFocusStealPreventer& focusStealPreventer;
    WorkspacePort& workspace;
    MainQueue& mainQueue;
    Scheduler& scheduler;
  };
  explicit SecondaryAction(const Services& services) : services_(services), reader_(services.access) {}

  /// Throws `ToolError` and `CancellationError`.
  ToolResult perform(std::int32_t pid, const PerformSecondaryActionParams& params);

  /// Whether an application that the action brought to the front stays there: a menu
  /// that was just opened must.
  static bool mayStayInFront(const std::string& requestedAction);

 private:
  struct Pick;

  std::string rawAction(const AXElement& element, const std::string& action, std::int64_t elementIndex);
  void refuseWindowSystemAction(const AXElement& element, const std::string& rawAction, const ToolError& refusal);
  AXErrorCode performOnMainThread(const AXElement& element, const std::string& rawAction);

  bool confirmMenuItemPickIfNeeded(const Pick& pick, bool force);
  bool menuItemPickStillNeedsConfirmation(const AXElement& element, std::int32_t pid);
  bool clickMenuItem(const Pick& pick, Point at);
  /// A wait that the caller's end does not change the outcome of.
  void pause(Duration duration);

  void restoreFrontmostIfNeeded(const std::optional<RunningApplication>& previous, std::int32_t targetPID,
                                const std::string& requestedAction);

  const Services services_;
  const LiveElementReader reader_;
};

/// Actions that would move windows about, which are the user's.
bool shouldRejectWindowSystemSecondaryAction(const std::string& rawAction, const std::optional<std::string>& role,
                                             const std::optional<std::string>& parentRole);
/// A pick that some applications only show.
bool secondaryActionNeedsMenuItemPickConfirmation(const std::optional<std::string>& role,
                                                  const std::string& requestedAction, const std::string& rawAction);
/// Whether the menu is still up.
bool menuItemPickStillNeedsConfirmation(const std::optional<std::string>& menuItemRole,
                                        const std::optional<std::string>& focusedRole);

}  // namespace tavik
