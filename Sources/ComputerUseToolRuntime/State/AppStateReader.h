#pragma once

#include <optional>
#include <string>

#include "AccessibilitySupport/Access/LiveElementReader.h"
#include "ComputerUseContracts/ToolResult.h"
#include "ComputerUseToolRuntime/Apps/AppResolver.h"
#include "ComputerUseToolRuntime/Service/ToolSession.h"
#include "ComputerUseToolRuntime/State/AppStateCapture.h"
#include "ComputerUseToolRuntime/State/AppStateEnvelope.h"
#include "ComputerUseToolRuntime/State/FallbackAppState.h"
#include "ComputerUseToolRuntime/State/GetAppStateCaptureDiagnostics.h"
#include "ComputerUseToolRuntime/State/StateSession.h"
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
    WorkspacePort& workspace;
    StateSession& stateSession;
    ToolSession& session;
    Scheduler& scheduler;
  };
  explicit AppStateReader(const Services& services);

  /// Called inside the session-state gate. The result is the state's text and the
  /// picture, or the reason why there is none; whatever fails on the way becomes part
  /// of it. Throws `ToolError` when the application cannot be resolved, and
  /// `CancellationError`.
  ToolResult getAppState(const std::string& app, const GetAppStateOptions& options);

 private:
  struct Look;

  bool isRunning(const std::string& app);
  void lookClosely(Look& look);
  void lookSomehow(Look& look, const std::exception_ptr& error);
  void conclude(Look& look);
  AppStateDescription description(const Look& look, const UIElementTree& tree, std::string treeText);
  void enterPhase(Look& look, GetAppStateCaptureDiagnostics::Phase phase);

  const Services services_;
  const LiveElementReader reader_;
};

/// What a state says; asks the live elements of the tree for focus and selection.
AppStateDescription describeAppState(const StateSubject& subject, const UIElementTree& tree, std::string treeText,
                                     const AXElement& observedFocusedElement, const LiveElementReader& reader);

/// The title by which a person knows the window that a tree was read from.
std::optional<std::string> appStateWindowTitle(const UIElementTree& tree, const std::string& bundleID);

}  // namespace tavik
