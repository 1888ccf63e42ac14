#include "ComputerUseToolRuntime/Service/ComputerUseRequestRouter.h"

#include <iterator>

#include "Base/JSON/Record.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {

using Content = std::vector<ToolResultContent>;

/// The model gets the state and is not told the obvious.
Content contentWithoutTrivialSuccess(const ToolResult& result) {
  const bool isTrivial = !result.isError && result.content.size() == 1 && result.content[0].isText() &&
                         result.content[0].text() == "Action completed successfully.";
  return isTrivial ? Content{} : result.content;
}

void append(Content& content, Content more) {
  content.insert(content.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

}  // namespace

std::optional<ToolResult> ComputerUseRequestRouter::routeToolRequest(const std::string& requestType,
                                                                     const Bytes& requestData) {
  if (requestType == ComputerUseIPCListAppsRequest::requestType) return toolService_.listApps();
  if (requestType == ComputerUseIPCAppGetStateRequest::requestType) {
    const auto request = decodeRecord<ComputerUseIPCAppGetStateRequest>(requestData);
    return toolService_.withSerializedSessionState([&] { return toolService_.getAppState(request.app, {.allowAppLaunch = true}); });
  }
  if (requestType == ComputerUseIPCAppPerformActionRequest::requestType) {
    const auto request = decodeRecord<ComputerUseIPCAppPerformActionRequest>(requestData);
    TavikComputerUseLogger::info(LogCategory::tools, "action_started", {{"appBundleID", request.app}});
    return toolService_.withSerializedAction([&] { return performActionAndCaptureState(request); });
  }
  return std::nullopt;
}

ToolResult ComputerUseRequestRouter::performActionAndCaptureState(
    const ComputerUseIPCAppPerformActionRequest& request) {
  ToolResult action = toolService_.performAction(request.app, request.action);
  try {
    return toolService_.withSerializedSessionState([&] {
      ToolResult state = toolService_.capturePostActionState(request.app, request.action);
      toolService_.dismissVisibleMenuBarAfterPostActionIfNeeded(request.app, request.action);
      ToolResult joined{contentWithoutTrivialSuccess(action), action.isError || state.isError};
      append(joined.content, std::move(state.content));
      return joined;
    });
  } catch (const std::exception& error) {
    // Whatever became of the look, the action is done, and its menu is not left open.
    toolService_.withSerializedSessionState([&] {
      toolService_.dismissVisibleMenuBarAfterPostActionIfNeeded(request.app, request.action);
    });
    action.content.push_back(
        ToolResultContent::text(std::string("Post-action state capture failed: ") + error.what()));
    return action;
  }
}

}  // namespace tavik
