#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Base/Concurrency/Scheduler.h"
#include "PlatformInterfaces/UserInterfacePort.h"
#include "TavikComputerUseRuntime/Permissions/ComputerUseRuntimePermissionState.h"

namespace tavik {

/// The time in which the user is being led to the permissions: the window that says
/// what is missing, how often it may come to the front by itself, and how long it may
/// keep the process alive. Main thread only.
class PermissionFlow {
 public:
  /// How long an unfinished flow keeps the process alive.
  static constexpr double maxLifetimeSeconds = 600;
  /// How often the window comes to the front by itself, and how far apart.
  static constexpr int automaticRaiseLimit = 2;
  static constexpr double automaticRaiseIntervalSeconds = 60;

  /// `userClosedWindow` is called when the user closes the window unfinished. The
  /// references outlive the flow.
  PermissionFlow(Scheduler& scheduler, UserInterfacePort& userInterface,
                 ComputerUseRuntimePermissionState& permissionState, std::function<void()> userClosedWindow);

  bool isActive() const { return permissionFlowActive_; }

  /// Shows the window, or brings an open one to the front unless that would bother a
  /// user who went elsewhere. False where there is no such window.
  bool showPermissionsWindow(const std::string& source, bool forceActivation = false);
  /// Closes what is open and ends the flow.
  void dismissPermissionUI();
  /// Like `dismissPermissionUI`, but only if there is anything to end.
  void dismissPermissionUIIfNeeded();
  /// A permission that has just been granted brings the user back from the settings;
  /// with both granted there is nothing more to show.
  void permissionsChanged(const ComputerUseRuntimePermissionState::Grants& before,
                          const ComputerUseRuntimePermissionState::Grants& after);

  /// The process ends: from now on nothing is shown.
  void stop() { isStopped_ = true; }

  /// Whether the process has to live on although its time is over: the user may be
  /// about to finish. `trigger` names the timer that asks.
  bool shouldDeferShutdown(const std::string& trigger);

 private:
  enum class PresentationMode { activateAndRaise, logOnly };

  void beginPermissionFlowIfNeeded(const std::string& source);
  void endPermissionFlow();
  PresentationMode existingPermissionsWindowPresentationMode(bool forceActivation);
  PresentationMode suppressRaise(const char* reason);
  void userClosedPermissionsWindow();

  Scheduler& scheduler_;
  UserInterfacePort& userInterface_;
  ComputerUseRuntimePermissionState& permissionState_;
  const std::function<void()> userClosedWindow_;

  bool isStopped_ = false;
  bool permissionFlowActive_ = false;
  std::optional<MonotonicTime> permissionFlowStartedAt_;
  int permissionWindowAutomaticRaiseCount_ = 0;
  std::optional<MonotonicTime> lastPermissionWindowAutomaticRaiseAt_;
  std::unique_ptr<PermissionsWindow> permissionsWindow_;
};

}  // namespace tavik
