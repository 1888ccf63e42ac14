#include "ComputerUseToolRuntime/Actions/ActionFrame.h"

#include <utility>

#include "ComputerUseContracts/ToolError.h"
#include "ComputerUseToolRuntime/Actions/ToolActionBracket.h"
#include "ComputerUseToolRuntime/State/StateSession.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {

template <class... Handlers>
struct Overloaded : Handlers... {
  using Handlers::operator()...;
};

}  // namespace

ToolResult ActionFrame::performAction(const std::string& app, const ComputerUseIPCAction& action) {
  const ResolvedApp resolved = services_.resolver.resolveAppPID(app);
  AppApprovalStore::checkSystemProcessDenylist(resolved.bundleID);
  requireApproval(resolved.bundleID);
  guardActionCanUseLatestState(app, resolved, action);

  const auto frontmostHold = holdFrontmost(resolved.pid, action);
  const ToolActionBracket bracket(services_.userInteractionMonitor, services_.recording, resolved.pid,
                                  seconds(action.toolGeneratedEventSuppressionInterval()));
  auto snapshot = preActionSnapshot(resolved.pid, action);
  // A client that was told "timeout" must not see the action happen afterwards.
  services_.scheduler.checkCancellation();
  ToolResult result = dispatch(resolved.pid, action);
  services_.queues.enqueuePreActionFocusedElement(resolved.bundleID, std::move(snapshot));
  return result;
}

/// A menu that an application opened in front would close again.
std::unique_ptr<FrontmostHold> ActionFrame::holdFrontmost(std::int32_t pid, const ComputerUseIPCAction& action) {
  const auto* secondary = action.get<PerformSecondaryActionParams>();
  if (secondary && SecondaryAction::mayStayInFront(secondary->action.value_or(""))) return nullptr;
  return services_.workspace.holdFrontmost(pid);
}

void ActionFrame::requireApproval(const std::string& bundleID) {
  if (services_.approvalStore.isApproved(bundleID)) return;
  if (services_.process.environment(requireApprovalVariable) == "1") {
    throw ToolError::ipcError("Target app approval required for " + bundleID +
                              ". Approve this app before sending mutation tools.");
  }
  services_.approvalStore.approve(bundleID, /*persistent=*/false);
  TavikComputerUseLogger::info(LogCategory::authorization, "target_app_session_approved", {{"appBundleID", bundleID}});
}

void ActionFrame::guardActionCanUseLatestState(const std::string& appQuery, const ResolvedApp& app,
                                               const ComputerUseIPCAction& action) {
  const auto session = services_.session.currentSession();
  if (!session) throw ToolError::noActiveAppState();
  if (session->bundleIdentifier != app.bundleID || session->pid != app.pid) {
    throw ToolError::staleAppState(appQuery);
  }
  if (action.get<TypeTextParams>()) requireUnmovedFocus(*session);
  try {
    services_.userInteractionMonitor.guardAction(app.bundleID);
  } catch (const UserInteractionError& error) {
    throw ToolError::actionRejected(error.message());
  }
}

/// Text goes wherever the focus is, and the model knows only where it was.
void ActionFrame::requireUnmovedFocus(const AppStateSnapshotContext& session) {
  if (!session.focusedElementDescription || !session.focusedElementDescriptionIsComparable) return;
  const auto now = focusedElementDescription(session.pid, services_.access);
  if (!now || *now == *session.focusedElementDescription) return;
  services_.userInteractionMonitor.recordAppChanged(session.bundleIdentifier, session.appName);
  throw ToolError::staleAppState(session.appName);
}

std::optional<FocusedElementSnapshot> ActionFrame::preActionSnapshot(std::int32_t pid,
                                                                     const ComputerUseIPCAction& action) {
  if (const auto* setValue = action.get<SetValueParams>()) {
    try {
      const auto item = services_.elements.findElement(setValue->elementIndex);
      return FocusedElementSnapshot::of(item->axElement, reader_);
    } catch (const ToolError&) {
      // The action looks for it again, and reports.
    }
  }
  return focusedElementSnapshot(pid, reader_);
}

ToolResult ActionFrame::dispatch(std::int32_t pid, const ComputerUseIPCAction& action) {
  return std::visit(
      Overloaded{
          [&](const ClickParams& params) { return services_.click.perform(pid, params); },
          [&](const ScrollParams& params) { return services_.scroll.perform(pid, params); },
          [&](const DragParams& params) { return services_.drag.perform(pid, params); },
          [&](const TypeTextParams& params) { return services_.typeText.perform(pid, params); },
          [&](const PressKeyParams& params) { return services_.pressKey.perform(pid, params); },
          [&](const SetValueParams& params) { return services_.setValue.perform(params); },
          [&](const TextSelectionParams& params) { return services_.selectText.perform(pid, params); },
          [&](const PerformSecondaryActionParams& params) { return services_.secondary.perform(pid, params); },
      },
      action.payload());
}

}  // namespace tavik
