#pragma once

#include <optional>
#include <string>

#include "AccessibilitySupport/Access/AXWrapper.h"
#include "ComputerUseContracts/ToolResult.h"
#include "ComputerUsePlatform/Capture/ApplicationSnapshotCapture.h"
#include "ComputerUseToolRuntime/Apps/AppResolver.h"
#include "ComputerUseToolRuntime/Service/ToolSession.h"
#include "PlatformInterfaces/WorkspacePort.h"

namespace tavik {

/// Perceives an application: resolves its name, captures tree and picture, renders
/// the state and makes it the session that later actions refer to.
class AppStateReader {
 public:
  AppStateReader(AppResolver& resolver, ApplicationSnapshotCapture& capture, AXWrapper& access,
                 WorkspacePort& workspace, ToolSession& session, Scheduler& scheduler);

  /// Called inside the session-state gate. An application that does not run is started
  /// in the background if that is allowed. The result is the state's text and, when
  /// there is one, the picture, else the reason why not. Throws `ToolError` when the
  /// application cannot be resolved, `CancellationError` when cancelled.
  ToolResult getAppState(const std::string& app, bool allowAppLaunch);

  /// The focused element of the application as role and names, "name=value" joined
  /// with "|"; absent when it says nothing. Tells whether the focus moved.
  std::optional<std::string> focusedElementDescription(std::int32_t pid);

 private:
  AppStateSnapshotContext sessionContext(const std::string& app, const ResolvedApp& resolved,
                                         const std::string& appName,
                                         const ApplicationSnapshotCapture::CaptureResult& captured);

  AppResolver& resolver_;
  ApplicationSnapshotCapture& capture_;
  AXWrapper& access_;
  WorkspacePort& workspace_;
  ToolSession& session_;
  Scheduler& scheduler_;
};

/// The title by which a person knows the window that a tree was read from.
std::optional<std::string> appStateWindowTitle(const UIElementTree& tree);

}  // namespace tavik
