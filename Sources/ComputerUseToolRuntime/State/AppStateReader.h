#pragma once

#include <memory>
#include <optional>
#include <string>

#include "AccessibilitySupport/Access/LiveElementReader.h"
#include "AccessibilitySupport/Focus/ComputerUseUserInteractionMonitor.h"
#include "AccessibilitySupport/Focus/SystemFocusedUIElementObserver.h"
#include "ComputerUseContracts/ToolResult.h"
#include "ComputerUseToolRuntime/Apps/AppResolver.h"
#include "ComputerUseToolRuntime/Service/ToolSession.h"
#include "ComputerUseToolRuntime/State/AppStateCapture.h"
#include "ComputerUseToolRuntime/State/AppStateEnvelope.h"
#include "ComputerUseToolRuntime/State/FallbackAppState.h"
#include "ComputerUseToolRuntime/State/FocusedElementSnapshot.h"
#include "ComputerUseToolRuntime/State/GetAppStateCaptureDiagnostics.h"
#include "PlatformInterfaces/WorkspacePort.h"

namespace tavik {

/// What is asked of one look at an application.
struct GetAppStateOptions {
  /// May start the application.
  bool allowAppLaunch = false;
  /// What had the focus before an action.
  std::optional<FocusedElementSnapshot> preActionFocusedElement = {};
  /// The window to stay on.
  std::optional<std::uint32_t> preferredTargetWindowID = {};
  std::optional<CapturePolicy> capturePolicy = {};
  /// May let the application believe that it is active.
  bool allowSyntheticFocusRecovery = true;

  /// A model asks directly, not an action afterwards.
  bool isDirectRequest() const {
    return allowAppLaunch && !preActionFocusedElement && !preferredTargetWindowID && !capturePolicy;
  }
};

/// Perceives an application: resolves its name, captures tree and picture, renders
/// the state and makes it the session that later actions refer to.
class AppStateReader {
 public:
  struct Services {
    AppResolver& resolver;
    AppStateCapture& capture;
    FallbackAppState& fallback;
    StateRootSelector& roots;
    AXWrapper& access;
    const UIElementTreeTransformationRunner& transformations;
    WorkspacePort& workspace;
    ComputerUseUserInteractionMonitor& userInteractionMonitor;
    ToolSession& session;
    Scheduler& scheduler;
  };
  explicit AppStateReader(const Services& services);

  /// Called inside the session-state gate. The result is the state's text and the
  /// picture, or the reason why there is none; whatever fails on the way becomes part
  /// of it. Throws `ToolError` when the application cannot be resolved, and
  /// `CancellationError`.
  ToolResult getAppState(const std::string& app, const GetAppStateOptions& options);

  /// The focused element of the application as role and names, "name=value" joined
  /// with "|"; absent when it says nothing. Tells whether the focus moved.
  std::optional<std::string> focusedElementDescription(std::int32_t pid);

  /// Ends the following of the focus that the last look began.
  void stopFocusedElementObserver();

 private:
  struct Look;

  bool isRunning(const std::string& app);
  void lookClosely(Look& look);
  void lookSomehow(Look& look, const std::exception_ptr& error);
  void conclude(Look& look);
  AppStateDescription description(const Look& look, const UIElementTree& tree, std::string treeText);
  void installSession(Look& look, std::shared_ptr<UIElementTree> tree, std::optional<std::uint32_t> windowID,
                      std::optional<Rect> bounds, std::optional<Size> pixelSize);
  void startFocusedElementObserverIfNeeded(std::int32_t pid);
  void enterPhase(Look& look, GetAppStateCaptureDiagnostics::Phase phase);

  const Services services_;
  const LiveElementReader reader_;
  std::shared_ptr<SystemFocusedUIElementObserver> focusedElementObserver_;
};

/// The title by which a person knows the window that a tree was read from.
std::optional<std::string> appStateWindowTitle(const UIElementTree& tree, const std::string& bundleID);

}  // namespace tavik
