#pragma once

#include <string>

#include "AccessibilitySupport/Focus/UserInputObserver.h"
#include "ComputerUseContracts/ComputerUseIPCAction.h"
#include "ComputerUseContracts/ToolResult.h"
#include "ComputerUsePlatform/Capture/ApplicationSnapshotCapture.h"
#include "ComputerUseToolRuntime/Actions/ActionFrame.h"
#include "ComputerUseToolRuntime/Actions/ClickAction.h"
#include "ComputerUseToolRuntime/Apps/AppResolver.h"
#include "ComputerUseToolRuntime/Service/OperationSerializationGate.h"
#include "ComputerUseToolRuntime/Service/ToolSession.h"
#include "ComputerUseToolRuntime/State/AppStateCapture.h"
#include "ComputerUseToolRuntime/State/AppStateReader.h"
#include "ComputerUseToolRuntime/State/FallbackAppState.h"
#include "ComputerUseToolRuntime/State/PostActionState.h"
#include "PlatformInterfaces/Platform.h"
#include "SlimCore/AppSearch/AppSearchEngine.h"

namespace tavik {

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

  ComputerUseToolService(Platform& platform, AXWrapper& access, AppSearchEngine& appSearchEngine,
                         Scheduler& scheduler);

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
  ToolResult capturePostActionState(const std::string& app) { return postActionState_.capture(app); }

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
  AXUISettleAwaiter settleAwaiter_;
  StateRootSelector stateRoots_;
  RichAccessibility richAccessibility_;
  AppStateCapture appStateCapture_;
  FallbackAppState fallbackAppState_;
  AppStateReader stateReader_;
  PostActionState postActionState_;
  ClickAction clickAction_;
  ActionFrame actionFrame_;
  UserInputObserver userInputObserver_;
};

}  // namespace tavik
