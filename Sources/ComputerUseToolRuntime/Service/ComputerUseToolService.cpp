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
      approvalStore_(platform.process.applicationSupportDirectory()),
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
      screenCaptureProbe_(platform.windowServer, scheduler),
      capture_(access, platform.windowServer, windowServerAccess_, applicationWindows_, windowScreenshot_,
               captureCoordinator_, transformations_, captureEnvironment(platform), scheduler),
      userInteractionMonitor_(scheduler),
      settleAwaiter_(platform.accessibility, scheduler),
      stateRoots_(access, transformations_, scheduler,
                  platform.process.environment(StateRootSelector::traceVariable)),
      richAccessibility_(access, stateRoots_),
      appStateCapture_(capture_, stateRoots_, richAccessibility_, settleAwaiter_, platform.eventPosting,
                       platform.workspace, scheduler),
      fallbackAppState_(capture_, applicationWindows_, windowServerAccess_, screenCaptureProbe_, stateRoots_, access,
                        transformations_, captureEnvironment(platform), scheduler),
      stateReader_({.resolver = resolver_,
                    .capture = appStateCapture_,
                    .fallback = fallbackAppState_,
                    .roots = stateRoots_,
                    .access = access,
                    .transformations = transformations_,
                    .workspace = platform.workspace,
                    .userInteractionMonitor = userInteractionMonitor_,
                    .session = session_,
                    .scheduler = scheduler}),
      postActionState_(stateReader_),
      clickAction_(access, scheduler),
      actionFrame_(resolver_, approvalStore_, platform.process, session_, userInteractionMonitor_, clickAction_,
                   scheduler),
      userInputObserver_(platform.eventTaps, userInteractionMonitor_) {}

ToolResult ComputerUseToolService::listApps() {
  const std::string list = formatListApps(appSearchEngine_.buildSnapshot().apps);
  return ToolResult::text(list.empty() ? "No apps found." : list);
}

void ComputerUseToolService::resetForTurnEnded() {
  withSerializedSessionState([this] {
    session_.clearState();
    session_.clearActiveSessions();
    stateReader_.stopFocusedElementObserver();
    userInteractionMonitor_.reset();
  });
}

void ComputerUseToolService::suspendPresentationForInactivity() {
  withSerializedSessionState([this] { session_.suspendPresentation(); });
}

void ComputerUseToolService::resumePresentationForActivity() {
  withSerializedSessionState([this] { session_.resumePresentation(); });
}

}  // namespace tavik
