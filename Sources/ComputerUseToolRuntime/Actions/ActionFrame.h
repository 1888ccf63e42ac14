#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "AccessibilitySupport/Focus/ComputerUseUserInteractionMonitor.h"
#include "ComputerUseContracts/ComputerUseIPCAction.h"
#include "ComputerUseContracts/ToolResult.h"
#include "ComputerUseToolRuntime/Actions/ClickAction.h"
#include "ComputerUseToolRuntime/Apps/AppResolver.h"
#include "ComputerUseToolRuntime/Safety/AppApprovalStore.h"
#include "ComputerUseToolRuntime/Service/ToolSession.h"
#include "PlatformInterfaces/ProcessPort.h"

namespace tavik {

/// The single entrance of everything that changes an application: its gates, in
/// their order, and the look-up of the element that an action names. Nothing has
/// touched the application when a gate refuses.
class ActionFrame {
 public:
  /// Set to "1" it lets actions touch only applications that the user has approved.
  static constexpr const char* requireApprovalVariable = "TAVIK_COMPUTER_USE_REQUIRE_TARGET_APPROVAL";

  ActionFrame(AppResolver& resolver, AppApprovalStore& approvalStore, ProcessPort& process, ToolSession& session,
              ComputerUseUserInteractionMonitor& userInteractionMonitor, ClickAction& click, Scheduler& scheduler);

  /// Throws `ToolError`; `AppApprovalError` for a security process; `CancellationError`
  /// when the caller was given up before anything was done.
  ToolResult performAction(const std::string& app, const ComputerUseIPCAction& action);

 private:
  void requireApproval(const std::string& bundleID);
  void guardActionCanUseLatestState(const std::string& appQuery, const ResolvedApp& app);
  ToolResult dispatch(const ComputerUseIPCAction& action);
  std::shared_ptr<UIElementTree::Item> findElement(std::int64_t index);

  AppResolver& resolver_;
  AppApprovalStore& approvalStore_;
  ProcessPort& process_;
  ToolSession& session_;
  ComputerUseUserInteractionMonitor& userInteractionMonitor_;
  ClickAction& click_;
  Scheduler& scheduler_;
};

/// How long after an action what looks like the user's input is taken for an echo of
/// the action itself.
Duration toolGeneratedEventSuppressionInterval(const ComputerUseIPCAction& action);

/// The elements around an index, as the model knows them, to choose another from;
/// empty when the tree holds none.
std::string nearbyElementDescriptions(std::int64_t index, const UIElementTree& tree);

}  // namespace tavik
