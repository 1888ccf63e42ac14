#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "AccessibilitySupport/Settle/AXUISettleAwaiter.h"
#include "ComputerUseContracts/ComputerUseIPCAction.h"
#include "ComputerUseContracts/ToolResult.h"
#include "ComputerUsePlatform/Capture/ApplicationSnapshotCapture.h"
#include "ComputerUseToolRuntime/Actions/RecordingGuard.h"
#include "ComputerUseToolRuntime/State/AppStateReader.h"
#include "ComputerUseToolRuntime/State/PostActionQueues.h"
#include "ComputerUseToolRuntime/State/StateSession.h"

namespace tavik {

/// The state that follows an action, without its frame, so that it reads as the
/// continuation of the action's own text. Called inside the session-state gate.
class PostActionState {
 public:
  struct Services {
    AppResolver& resolver;
    AppStateReader& reader;
    StateSession& stateSession;
    StateRootSelector& roots;
    ApplicationSnapshotCapture& snapshotCapture;
    WindowServerAccessBroker& windowServer;
    AXWrapper& access;
    WorkspacePort& workspace;
    ComputerUseUserInteractionMonitor& userInteractionMonitor;
    ToolSession& session;
    PostActionQueues& queues;
    RecordingGuard recording;
    Scheduler& scheduler;
  };
  explicit PostActionState(const Services& services);

  /// Waits until the application is quiet, looks at it, and looks once more when the
  /// first look is behind the action. Throws as `AppStateReader::getAppState`.
  ToolResult capture(const std::string& app, const ComputerUseIPCAction& action);

  /// Closes the menu of the menu bar that an action left open, unless the model was
  /// just shown it to choose from. Does not throw.
  void dismissVisibleMenuBarIfNeeded(const std::string& app, const ComputerUseIPCAction& action);

 private:
  struct Target {
    std::optional<std::string> bundleID;
    std::optional<std::int32_t> pid;
  };

  Target target(const std::string& app);
  ToolResult look(const std::string& app, const ComputerUseIPCAction& action,
                  std::optional<FocusedElementSnapshot> preActionFocusedElement,
                  std::optional<std::uint32_t> windowID, std::optional<CapturePolicy> policy);
  ToolResult renderPendingMenu(PendingMenuBarPostActionState pending);
  std::optional<std::uint32_t> preferredTargetWindowID(std::optional<std::int32_t> pid);
  bool hasReusableVisualContext(const std::string& appQuery, std::optional<std::int32_t> pid,
                                std::optional<std::uint32_t> preferredTargetWindowID);
  bool dismissActiveMenuBarMenu(const std::vector<AXElement>& menuBarItems);

  const Services services_;
  const LiveElementReader reader_;
  const AXUISettleAwaiter settleAwaiter_;
};

/// How to look after an action; absent leaves it to the default, with a picture.
std::optional<CapturePolicy> postActionCapturePolicy(const ComputerUseIPCAction& after, bool visualContextAvailable);
/// Whether the look may let the application believe that it is active.
bool postActionAllowsSyntheticFocusRecovery(const ComputerUseIPCAction& after);
/// The model was just shown an open menu.
bool returnedStateShouldKeepMenuBarMenuOpen(const UIElementTree& tree);

}  // namespace tavik
