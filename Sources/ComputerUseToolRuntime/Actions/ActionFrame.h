#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "AccessibilitySupport/Focus/ComputerUseUserInteractionMonitor.h"
#include "ComputerUseContracts/ComputerUseIPCAction.h"
#include "ComputerUseContracts/ToolResult.h"
#include "ComputerUseToolRuntime/Actions/ClickAction.h"
#include "ComputerUseToolRuntime/Apps/AppResolver.h"
#include "ComputerUseToolRuntime/Service/ToolSession.h"
#include "SlimCore/Identity/BundleIdentifiers.h"

namespace tavik {

/// The single entrance of everything that changes an application: its gates, in
/// their order, and the look-up of the element that an action names. Nothing has
/// touched the application when a gate refuses.
class ActionFrame {
 public:
  ActionFrame(AppResolver& resolver, ToolSession& session, ComputerUseUserInteractionMonitor& userInteractionMonitor,
              ClickAction& click, Scheduler& scheduler);

  /// Throws `ToolError`; `AppApprovalError` for a security process; `CancellationError`
  /// when the caller was given up before anything was done.
  ToolResult performAction(const std::string& app, const ComputerUseIPCAction& action);

 private:
  void guardActionCanUseLatestState(const std::string& appQuery, const ResolvedApp& app);
  ToolResult dispatch(const ComputerUseIPCAction& action);
  std::shared_ptr<UIElementTree::Item> findElement(std::int64_t index);

  AppResolver& resolver_;
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
