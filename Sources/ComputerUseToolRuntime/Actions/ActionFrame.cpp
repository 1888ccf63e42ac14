#include "ComputerUseToolRuntime/Actions/ActionFrame.h"

#include <algorithm>

#include "AccessibilitySupport/Access/AXAttributes.h"
#include "Base/Text/Text.h"
#include "ComputerUseContracts/ToolError.h"
#include "ComputerUseToolRuntime/Safety/AppApprovalError.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {

constexpr long nearbyDistance = 3;
constexpr const char* elementNoLongerValid =
    "The element ID is no longer valid. Try to get the on-screen content again and see if that resolves the issue.";
constexpr const char* elementWasInvalidated =
    "Element was invalidated and could not be found after refetching";

ToolError notAvailable(const char* tool) {
  return ToolError::actionRejected(std::string(tool) + " is not available in this version of Tavik Computer Use.");
}

}  // namespace

std::string nearbyElementDescriptions(long index, const UIElementTree& tree) {
  std::vector<std::string> entries;
  for (long near = std::max(index - nearbyDistance, 0L); near <= index + nearbyDistance; ++near) {
    if (auto item = tree.item(near)) {
      entries.push_back("[" + std::to_string(near) + "] " + item->appStateDescriptionWithoutIndex());
    }
  }
  return text::joined(entries, " | ");
}

ActionFrame::ActionFrame(AppResolver& resolver, ToolSession& session, AXWrapper& access, ClickAction& click,
                         Scheduler& scheduler)
    : resolver_(resolver), session_(session), access_(access), click_(click), scheduler_(scheduler) {}

ToolResult ActionFrame::performAction(const std::string& app, const ComputerUseIPCAction& action) {
  const ResolvedApp resolved = resolver_.resolveAppPID(app);
  if (BundleIdentifiers::systemSecurityProcesses().contains(resolved.bundleID)) {
    throw AppApprovalError::systemSecurityProcess(resolved.bundleID);
  }
  guardActionCanUseLatestState(app, resolved);
  // A client that was told "timeout" must not see the action happen afterwards.
  scheduler_.checkCancellation();

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

void ActionFrame::guardActionCanUseLatestState(const std::string& appQuery, const ResolvedApp& app) {
  const auto session = session_.currentSession();
  if (!session) throw ToolError::noActiveAppState();
  if (session->bundleIdentifier != app.bundleID || session->pid != app.pid) {
    throw ToolError::staleAppState(appQuery);
  }
}

std::shared_ptr<UIElementTree::Item> ActionFrame::findElement(long index) {
  const auto tree = session_.currentTree();
  if (!tree) throw ToolError::noActiveAppState();
  auto item = tree->item(index);
  const char* problem = nullptr;
  if (!item || !item->axElement) {
    problem = elementNoLongerValid;
  } else if (auto role = access_.copyAttributeValueOptional(item->axElement, AXAttributes::role);
             !role || *role != AXValue(item->role.value_or(""))) {
    problem = elementWasInvalidated;
  }
  if (!problem) return item;

  TavikComputerUseLogger::warning(LogCategory::tools, "element_lookup_failed",
                                  {{"strategy", "current_tree"}, {"elementIndex", index}});
  const std::string nearby = nearbyElementDescriptions(index, *tree);
  throw ToolError::actionRejected(std::string(problem) +
                                  ". Re-query the latest state with get_app_state before sending more actions." +
                                  (nearby.empty() ? "" : " Nearby elements: " + nearby));
}

}  // namespace tavik
