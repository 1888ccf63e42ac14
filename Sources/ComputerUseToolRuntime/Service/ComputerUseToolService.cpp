#include "ComputerUseToolRuntime/Service/ComputerUseToolService.h"

#include <cstdlib>
#include <utility>

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
                                               AppSearchEngine& appSearchEngine, MainQueue& mainQueue,
                                               Scheduler& scheduler, ToolServiceExtras extras)
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
      focusStealPreventer_(platform.eventTaps, platform.workspace),
      settleAwaiter_(platform.accessibility, scheduler),
      stateRoots_(access, transformations_, scheduler,
                  platform.process.environment(StateRootSelector::traceVariable)),
      richAccessibility_(access, stateRoots_),
      appStateCapture_(capture_, stateRoots_, richAccessibility_, settleAwaiter_, platform.eventPosting,
                       platform.workspace, scheduler),
      fallbackAppState_(capture_, applicationWindows_, windowServerAccess_, screenCaptureProbe_, stateRoots_, access,
                        transformations_, captureEnvironment(platform), scheduler),
      stateSession_({.access = access,
                     .transformations = transformations_,
                     .workspace = platform.workspace,
                     .userInteractionMonitor = userInteractionMonitor_,
                     .focusStealPreventer = focusStealPreventer_,
                     .session = session_,
                     .scheduler = scheduler}),
      stateReader_({.resolver = resolver_,
                    .capture = appStateCapture_,
                    .fallback = fallbackAppState_,
                    .roots = stateRoots_,
                    .access = access,
                    .workspace = platform.workspace,
                    .stateSession = stateSession_,
                    .session = session_,
                    .scheduler = scheduler}),
      postActionQueues_(scheduler),
      postActionState_({.resolver = resolver_,
                        .reader = stateReader_,
                        .stateSession = stateSession_,
                        .roots = stateRoots_,
                        .snapshotCapture = capture_,
                        .windowServer = windowServerAccess_,
                        .access = access,
                        .workspace = platform.workspace,
                        .userInteractionMonitor = userInteractionMonitor_,
                        .session = session_,
                        .queues = postActionQueues_,
                        .recording = extras.recording,
                        .scheduler = scheduler}),
      backgroundMenus_(access, transformations_, session_, postActionQueues_, scheduler),
      elements_(session_),
      cursor_(extras.cursorPresenter, session_, mainQueue, scheduler),
      geometry_(session_, windowUtilities_, platform.eventPosting, platform.workspace),
      keyboard_(platform.eventPosting, platform.keyboardLayout, platform.workspace, mainQueue, scheduler),
      saveVerification_(session_, access, scheduler),
      click_({.elements = elements_,
              .access = access,
              .cursor = cursor_,
              .geometry = geometry_,
              .focusStealPreventer = focusStealPreventer_,
              .backgroundMenus = backgroundMenus_,
              .scheduler = scheduler}),
      scroll_({.elements = elements_,
               .access = access,
               .cursor = cursor_,
               .geometry = geometry_,
               .focusStealPreventer = focusStealPreventer_,
               .windowServer = windowServerAccess_,
               .scheduler = scheduler}),
      drag_({.access = access,
             .cursor = cursor_,
             .geometry = geometry_,
             .focusStealPreventer = focusStealPreventer_,
             .scheduler = scheduler}),
      typeText_({.keyboard = keyboard_,
                 .focusStealPreventer = focusStealPreventer_,
                 .access = access,
                 .workspace = platform.workspace,
                 .session = session_,
                 .scheduler = scheduler}),
      pressKey_({.keyboard = keyboard_,
                 .focusStealPreventer = focusStealPreventer_,
                 .saveVerification = saveVerification_,
                 .scheduler = scheduler}),
      setValue_({.elements = elements_,
                 .access = access,
                 .cursor = cursor_,
                 .process = platform.process,
                 .mainQueue = mainQueue,
                 .scheduler = scheduler}),
      selectText_({.elements = elements_, .access = access, .cursor = cursor_, .scheduler = scheduler}),
      secondary_({.elements = elements_,
                  .access = access,
                  .cursor = cursor_,
                  .geometry = geometry_,
                  .focusStealPreventer = focusStealPreventer_,
                  .workspace = platform.workspace,
                  .mainQueue = mainQueue,
                  .scheduler = scheduler}),
      actionFrame_({.resolver = resolver_,
                    .approvalStore = approvalStore_,
                    .process = platform.process,
                    .workspace = platform.workspace,
                    .access = access,
                    .session = session_,
                    .userInteractionMonitor = userInteractionMonitor_,
                    .queues = postActionQueues_,
                    .elements = elements_,
                    .recording = std::move(extras.recording),
                    .click = click_,
                    .scroll = scroll_,
                    .drag = drag_,
                    .typeText = typeText_,
                    .pressKey = pressKey_,
                    .setValue = setValue_,
                    .selectText = selectText_,
                    .secondary = secondary_,
                    .scheduler = scheduler}),
      userInputObserver_(platform.eventTaps, userInteractionMonitor_) {}

ToolResult ComputerUseToolService::listApps() {
  const std::string list = formatListApps(appSearchEngine_.buildSnapshot().apps);
  return ToolResult::text(list.empty() ? "No apps found." : list);
}

void ComputerUseToolService::resetForTurnEnded() {
  withSerializedSessionState([this] {
    session_.clearState();
    session_.clearActiveSessions();
    stateSession_.stopFollowing();
    userInteractionMonitor_.reset();
    cursor_.hide();
    postActionQueues_.clear();
  });
}

void ComputerUseToolService::suspendPresentationForInactivity() {
  withSerializedSessionState([this] {
    session_.suspendPresentation();
    cursor_.hide();
  });
}

void ComputerUseToolService::resumePresentationForActivity() {
  withSerializedSessionState([this] { session_.resumePresentation(); });
}

}  // namespace tavik
