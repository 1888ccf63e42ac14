#include "ComputerUseToolRuntime/Actions/ActionFrame.h"

#include <algorithm>
#include <limits>

#include "Base/Text/Text.h"
#include "ComputerUseContracts/ToolError.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {

constexpr std::int64_t nearbyDistance = 3;

ToolError notAvailable(const char* tool) {
  return ToolError::actionRejected(std::string(tool) + " is not available in this version of Tavik Computer Use.");
}

}  // namespace

Duration toolGeneratedEventSuppressionInterval(const ComputerUseIPCAction& action) {
  if (const auto* click = action.get<ClickParams>()) {
    if (click->mouseButton != 0) return milliseconds(1400);
    return click->clickCount < 2 ? milliseconds(500) : milliseconds(800);
  }
  if (const auto* typing = action.get<TypeTextParams>()) {
    const auto byLength = static_cast<std::int64_t>(text::characterCount(typing->text)) * 10;
    return milliseconds(std::clamp<std::int64_t>(byLength, 800, 1600));
  }
  if (action.get<ScrollParams>()) return milliseconds(600);
  if (action.get<DragParams>()) return milliseconds(800);
  if (action.get<PressKeyParams>()) return milliseconds(1400);
  if (action.get<SetValueParams>() || action.get<TextSelectionParams>()) return milliseconds(400);
  return milliseconds(1000);
}

std::string nearbyElementDescriptions(std::int64_t index, const UIElementTree& tree) {
  std::vector<std::string> entries;
  // Any number may come from a model.
  const std::int64_t first = std::max(index, nearbyDistance) - nearbyDistance;
  const std::int64_t last = std::min(index, std::numeric_limits<std::int64_t>::max() - nearbyDistance) + nearbyDistance;
  for (std::int64_t near = first; near <= last && near >= 0; ++near) {
    if (auto item = tree.item(near)) {
      entries.push_back("[" + std::to_string(near) + "] " + item->appStateDescriptionWithoutIndex());
    }
  }
  return text::joined(entries, " | ");
}

ActionFrame::ActionFrame(AppResolver& resolver, AppApprovalStore& approvalStore, ProcessPort& process,
                         ToolSession& session, ComputerUseUserInteractionMonitor& userInteractionMonitor,
                         ClickAction& click, Scheduler& scheduler)
    : resolver_(resolver),
      approvalStore_(approvalStore),
      process_(process),
      session_(session),
      userInteractionMonitor_(userInteractionMonitor),
      click_(click),
      scheduler_(scheduler) {}

ToolResult ActionFrame::performAction(const std::string& app, const ComputerUseIPCAction& action) {
  const ResolvedApp resolved = resolver_.resolveAppPID(app);
  AppApprovalStore::checkSystemProcessDenylist(resolved.bundleID);
  requireApproval(resolved.bundleID);
  guardActionCanUseLatestState(app, resolved);
  // A client that was told "timeout" must not see the action happen afterwards.
  scheduler_.checkCancellation();

  struct ToolActionBracket {
    ComputerUseUserInteractionMonitor& monitor;
    std::int32_t pid;
    Duration ignoreEventsFor;
    ~ToolActionBracket() { monitor.endToolAction(pid, ignoreEventsFor); }
  };
  userInteractionMonitor_.beginToolAction(resolved.pid);
  const ToolActionBracket bracket{userInteractionMonitor_, resolved.pid,
                                  toolGeneratedEventSuppressionInterval(action)};
  return dispatch(action);
}

ToolResult ActionFrame::dispatch(const ComputerUseIPCAction& action) {
  const auto* click = action.get<ClickParams>();
  if (!click) throw notAvailable(action.caseName());
  if (!click->elementIndex) {
    if (!click->x || !click->y) {
      throw ToolError::actionRejected("click requires either element_index or both x and y");
    }
    throw notAvailable("click by coordinates");
  }
  return click_.perform(findElement(*click->elementIndex)->axElement, *click);
}

void ActionFrame::requireApproval(const std::string& bundleID) {
  if (approvalStore_.isApproved(bundleID)) return;
  if (process_.environment(requireApprovalVariable) == "1") {
    throw ToolError::ipcError("Target app approval required for " + bundleID +
                              ". Approve this app before sending mutation tools.");
  }
  approvalStore_.approve(bundleID, /*persistent=*/false);
  TavikComputerUseLogger::info(LogCategory::tools, "target_app_session_approved", {{"appBundleID", bundleID}});
}

void ActionFrame::guardActionCanUseLatestState(const std::string& appQuery, const ResolvedApp& app) {
  const auto session = session_.currentSession();
  if (!session) throw ToolError::noActiveAppState();
  if (session->bundleIdentifier != app.bundleID || session->pid != app.pid) {
    throw ToolError::staleAppState(appQuery);
  }
  try {
    userInteractionMonitor_.guardAction(app.bundleID);
  } catch (const UserInteractionError& error) {
    throw ToolError::actionRejected(error.message());
  }
}

std::shared_ptr<UIElementTree::Item> ActionFrame::findElement(std::int64_t index) {
  const auto appStateTree = session_.currentAppStateTree();
  if (!appStateTree) throw ToolError::noActiveAppState();
  std::string problem;
  try {
    const auto found = appStateTree->element(index);
    session_.setCurrentTree(appStateTree->tree());
    if (!found->item->axElement) throw ToolError::elementNotFound(index);
    return found->item;
  } catch (const CancellationError&) {
    throw;
  } catch (const std::exception& error) {
    TavikComputerUseLogger::warning(LogCategory::tools, "element_lookup_failed",
                                    {{"strategy", "refetchable_tree"}, {"error", error}});
    problem = error.what();
  }
  const auto tree = session_.currentTree();
  const std::string nearby = tree ? nearbyElementDescriptions(index, *tree) : "";
  throw ToolError::actionRejected(problem +
                                  ". Re-query the latest state with get_app_state before sending more actions." +
                                  (nearby.empty() ? "" : " Nearby elements: " + nearby));
}

}  // namespace tavik
