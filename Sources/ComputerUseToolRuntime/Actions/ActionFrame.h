#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "AccessibilitySupport/Focus/ComputerUseUserInteractionMonitor.h"
#include "ComputerUseContracts/ComputerUseIPCAction.h"
#include "ComputerUseContracts/ToolResult.h"
#include "ComputerUseToolRuntime/Actions/ClickAction.h"
#include "ComputerUseToolRuntime/Actions/DragAction.h"
#include "ComputerUseToolRuntime/Actions/PressKeyAction.h"
#include "ComputerUseToolRuntime/Actions/RecordingGuard.h"
#include "ComputerUseToolRuntime/Actions/ScrollAction.h"
#include "ComputerUseToolRuntime/Actions/SecondaryAction.h"
#include "ComputerUseToolRuntime/Actions/SelectTextAction.h"
#include "ComputerUseToolRuntime/Actions/SetValueAction.h"
#include "ComputerUseToolRuntime/Actions/TypeTextAction.h"
#include "ComputerUseToolRuntime/Apps/AppResolver.h"
#include "ComputerUseToolRuntime/Safety/AppApprovalStore.h"
#include "ComputerUseToolRuntime/Service/ToolSession.h"
#include "ComputerUseToolRuntime/State/PostActionQueues.h"
#include "PlatformInterfaces/ProcessPort.h"

namespace tavik {

/// The single entrance of everything that changes an application: the gates, in their
/// order, the bracket that tells others that the input to come is the tool's own, and
/// the way to the action. Nothing has touched the application when a gate refuses.
class ActionFrame {
 public:
  /// Set to "1" it lets actions touch only applications that the user has approved.
  static constexpr const char* requireApprovalVariable = "TAVIK_COMPUTER_USE_REQUIRE_TARGET_APPROVAL";

  struct Services {
    AppResolver& resolver;
    AppApprovalStore& approvalStore;
    ProcessPort& process;
    WorkspacePort& workspace;
    AXWrapper& access;
    ToolSession& session;
    ComputerUseUserInteractionMonitor& userInteractionMonitor;
    PostActionQueues& queues;
    ElementLookup& elements;
    RecordingGuard recording;
    ClickAction& click;
    ScrollAction& scroll;
    DragAction& drag;
    TypeTextAction& typeText;
    PressKeyAction& pressKey;
    SetValueAction& setValue;
    SelectTextAction& selectText;
    SecondaryAction& secondary;
    Scheduler& scheduler;
  };
  explicit ActionFrame(const Services& services) : services_(services), reader_(services.access) {}

  /// Throws `ToolError`; `AppApprovalError` for a security process; `CancellationError`
  /// when the caller was given up before anything was done; and what the action throws.
  ToolResult performAction(const std::string& app, const ComputerUseIPCAction& action);

 private:
  void requireApproval(const std::string& bundleID);
  void guardActionCanUseLatestState(const std::string& appQuery, const ResolvedApp& app,
                                    const ComputerUseIPCAction& action);
  void requireUnmovedFocus(const AppStateSnapshotContext& session);
  std::unique_ptr<FrontmostHold> holdFrontmost(std::int32_t pid, const ComputerUseIPCAction& action);
  std::optional<FocusedElementSnapshot> preActionSnapshot(std::int32_t pid, const ComputerUseIPCAction& action);
  ToolResult dispatch(std::int32_t pid, const ComputerUseIPCAction& action);

  const Services services_;
  const LiveElementReader reader_;
};

}  // namespace tavik
