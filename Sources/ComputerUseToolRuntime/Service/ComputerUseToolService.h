#pragma once

#include <string>

#include "AccessibilitySupport/Focus/UserInputObserver.h"
#include "ComputerUseContracts/ComputerUseIPCAction.h"
#include "ComputerUseContracts/ToolResult.h"
#include "ComputerUsePlatform/Capture/ApplicationSnapshotCapture.h"
#include "ComputerUseToolRuntime/Actions/ActionFrame.h"
#include "ComputerUseToolRuntime/Apps/AppResolver.h"
#include "ComputerUseToolRuntime/Service/OperationSerializationGate.h"
#include "ComputerUseToolRuntime/Service/ToolSession.h"
#include "ComputerUseToolRuntime/State/AppStateCapture.h"
#include "ComputerUseToolRuntime/State/AppStateReader.h"
#include "ComputerUseToolRuntime/State/FallbackAppState.h"
#include "ComputerUseToolRuntime/State/PostActionState.h"
#include "ComputerUseToolRuntime/State/StateSession.h"
#include "PlatformInterfaces/Platform.h"
#include "SlimCore/AppSearch/AppSearchEngine.h"

namespace tavik {

/// What a process adds to its tools.
struct ToolServiceExtras {
  /// Shows where the tools act; may be null. Outlives the service.
  CursorPresenter* cursorPresenter = nullptr;
  RecordingGuard recording = {};
};

/// The one object behind all tools: it owns the session and the gates that order
/// concurrent work. One for each process; any thread, many at once.
///
/// Two gates: `actionSerializationGate` lets one action run at a time, and
/// `sessionStateSerializationGate` one capture, turn reset or change of the
/// presentation. Whoever needs both takes the action gate first.
class ComputerUseToolService {
 public:
  static constexpr const char* actionGateKey = "computer-use-action";
  static constexpr const char* sessionStateGateKey = "computer-use-session-state";

  /// The main queue is not served any more when the service ends.
  ComputerUseToolService(Platform& platform, AXWrapper& access, AppSearchEngine& appSearchEngine,
                         MainQueue& mainQueue, Scheduler& scheduler, ToolServiceExtras extras = {});

  /// The list of applications; needs no gate.
  ToolResult listApps();
  /// The state of an application; call it inside the session-state gate.
  ToolResult getAppState(const std::string& app, const GetAppStateOptions& options) {
    return stateReader_.getAppState(app, options);
  }
  /// An action; call it inside the action gate and outside the session-state gate.
  ToolResult performAction(const std::string& app, const ComputerUseIPCAction& action) {
    return actionFrame_.performAction(app, action);
  }
  /// The state that follows an action; call it inside the session-state gate.
  ToolResult capturePostActionState(const std::string& app, const ComputerUseIPCAction& action) {
    return postActionState_.capture(app, action);
  }
  /// Closes a menu that the action left open; call it inside the session-state gate.
  void dismissVisibleMenuBarAfterPostActionIfNeeded(const std::string& app, const ComputerUseIPCAction& action) {
    postActionState_.dismissVisibleMenuBarIfNeeded(app, action);
  }

  template <class Operation>
  auto withSerializedAction(Operation operation) {
    return actionSerializationGate_.withLock(actionGateKey, std::move(operation));
  }
  template <class Operation>
  auto withSerializedSessionState(Operation operation) {
    return sessionStateSerializationGate_.withLock(sessionStateGateKey, std::move(operation));
  }

  /// The end of a conversation turn: forgets the state and all active sessions.
  void resetForTurnEnded();
  /// Shows nothing of the sessions until `resumePresentationForActivity`.
  void suspendPresentationForInactivity();
  void resumePresentationForActivity();

  ToolSession& session() { return session_; }
  ComputerUseUserInteractionMonitor& userInteractionMonitor() { return userInteractionMonitor_; }
  SystemFocusStealPreventer& focusStealPreventer() { return focusStealPreventer_; }
  PostActionQueues& postActionQueues() { return postActionQueues_; }

 private:
  AppSearchEngine& appSearchEngine_;
  AppApprovalStore approvalStore_;
  OperationSerializationGate actionSerializationGate_;
  OperationSerializationGate sessionStateSerializationGate_;
  ToolSession session_;
  AppResolver resolver_;
  UIElementTreeTransformationRunner transformations_;
  WindowServerAccessBroker windowServerAccess_;
  WindowUtilities windowUtilities_;
  ApplicationWindows applicationWindows_;
  WindowScreenshot windowScreenshot_;
  CaptureCoordinator captureCoordinator_;
  ScreenCapturePermissionProbeBroker screenCaptureProbe_;
  ApplicationSnapshotCapture capture_;
  ComputerUseUserInteractionMonitor userInteractionMonitor_;
  SystemFocusStealPreventer focusStealPreventer_;
  AXUISettleAwaiter settleAwaiter_;
  StateRootSelector stateRoots_;
  RichAccessibility richAccessibility_;
  AppStateCapture appStateCapture_;
  FallbackAppState fallbackAppState_;
  StateSession stateSession_;
  AppStateReader stateReader_;
  PostActionQueues postActionQueues_;
  PostActionState postActionState_;
  BackgroundMenuState backgroundMenus_;
  ElementLookup elements_;
  InteractionCursor cursor_;
  ScreenGeometry geometry_;
  KeyboardInput keyboard_;
  SaveVerification saveVerification_;
  ClickAction click_;
  ScrollAction scroll_;
  DragAction drag_;
  TypeTextAction typeText_;
  PressKeyAction pressKey_;
  SetValueAction setValue_;
  SelectTextAction selectText_;
  SecondaryAction secondary_;
  ActionFrame actionFrame_;
  UserInputObserver userInputObserver_;
};

}  // namespace tavik
