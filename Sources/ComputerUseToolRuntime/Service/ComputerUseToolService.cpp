#include "ComputerUseToolRuntime/Service/ComputerUseToolService.h"

#include "ComputerUseToolRuntime/Apps/AppList.h"

namespace tavik {

ComputerUseToolService::ComputerUseToolService(Platform& platform, AXWrapper& access,
                                               AppSearchEngine& appSearchEngine, Scheduler& scheduler)
    : appSearchEngine_(appSearchEngine),
      actionSerializationGate_(scheduler),
      sessionStateSerializationGate_(scheduler),
      resolver_(platform.workspace),
      transformations_(platform.workspace),
      capture_(access, platform.windowServer, platform.imageCoding, transformations_, scheduler),
      stateReader_(resolver_, capture_, access, platform.workspace, session_, scheduler),
      postActionState_(stateReader_),
      clickAction_(access, scheduler),
      actionFrame_(resolver_, session_, access, clickAction_, scheduler) {}

ToolResult ComputerUseToolService::listApps() {
  const std::string list = formatListApps(appSearchEngine_.buildSnapshot().apps);
  return ToolResult::text(list.empty() ? "No apps found." : list);
}

void ComputerUseToolService::resetForTurnEnded() {
  withSerializedSessionState([this] {
    session_.clearState();
    session_.clearActiveSessions();
  });
}

void ComputerUseToolService::suspendPresentationForInactivity() {
  withSerializedSessionState([this] { session_.suspendPresentation(); });
}

void ComputerUseToolService::resumePresentationForActivity() {
  withSerializedSessionState([this] { session_.resumePresentation(); });
}

}  // namespace tavik
