#include "ComputerUseToolRuntime/Service/ComputerUseToolService.h"

#include <cstdlib>

#include "ComputerUseToolRuntime/Apps/AppList.h"

namespace tavik {

namespace {

#if defined(__x86_64__)
constexpr bool isIntelX86_64 = true;
#else
constexpr bool isIntelX86_64 = false;
#endif

CaptureEnvironment captureEnvironment(Platform& platform) {
  return {.backend = platform.process.environment(CaptureEnvironment::backendVariable),
          .osMajorVersion = std::atoi(platform.process.operatingSystemVersion().c_str()),
          .isIntelX86_64 = isIntelX86_64,
          .hasScreenCaptureKit = platform.screenCapture.isAvailable()};
}

}  // namespace

ComputerUseToolService::ComputerUseToolService(Platform& platform, AXWrapper& access,
                                               AppSearchEngine& appSearchEngine, Scheduler& scheduler)
    : appSearchEngine_(appSearchEngine),
      actionSerializationGate_(scheduler),
      sessionStateSerializationGate_(scheduler),
      resolver_(platform.workspace, appSearchEngine, scheduler),
      transformations_(platform.workspace),
      windowServerAccess_(platform.windowServer, scheduler),
      windowUtilities_(platform.windowServer, windowServerAccess_),
      applicationWindows_(access, windowServerAccess_),
      windowScreenshot_(platform.windowServer, platform.screenCapture, platform.imageCoding, windowUtilities_,
                        scheduler),
      captureCoordinator_(platform.windowServer, scheduler, platform.process.environment("TMPDIR").value_or("/tmp")),
      capture_(access, platform.windowServer, windowServerAccess_, applicationWindows_, windowScreenshot_,
               captureCoordinator_, transformations_, captureEnvironment(platform), scheduler),
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
