#include "TavikComputerUseRuntime/Permissions/PermissionFlow.h"

#include <utility>

#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {

constexpr std::int64_t maxLifetimeMs = static_cast<std::int64_t>(PermissionFlow::maxLifetimeSeconds * 1000);

}  // namespace

PermissionFlow::PermissionFlow(Scheduler& scheduler, UserInterfacePort& userInterface,
                               ComputerUseRuntimePermissionState& permissionState,
                               std::function<void()> userClosedWindow)
    : scheduler_(scheduler),
      userInterface_(userInterface),
      permissionState_(permissionState),
      userClosedWindow_(std::move(userClosedWindow)) {}

bool PermissionFlow::showPermissionsWindow(const std::string& source, bool forceActivation) {
  TavikComputerUseLogger::info(
      LogCategory::permissions, "permission_window_requested",
      {{"source", source}, {"permissionSummary", permissionState_.diagnosticSummary()}});
  if (isStopped_ || !userInterface_.hasPermissionsWindow()) return false;
  beginPermissionFlowIfNeeded(source);
  if (permissionsWindow_) {
    const PresentationMode mode = existingPermissionsWindowPresentationMode(forceActivation);
    const bool raises = mode == PresentationMode::activateAndRaise;
    TavikComputerUseLogger::info(
        LogCategory::permissions, "permission_window_reused",
        {{"presentationMode", raises ? "activateAndRaise" : "logOnly"}, {"forceActivation", forceActivation}});
    if (raises) permissionsWindow_->activateAndRaise();
    return true;
  }
  permissionsWindow_ = userInterface_.openPermissionsWindow([this] { userClosedPermissionsWindow(); });
  permissionWindowAutomaticRaiseCount_ = 1;
  lastPermissionWindowAutomaticRaiseAt_ = scheduler_.now();
  TavikComputerUseLogger::info(LogCategory::permissions, "permission_window_created",
                               {{"automaticRaiseCount", permissionWindowAutomaticRaiseCount_}});
  permissionsWindow_->activateAndRaise();
  return true;
}

auto PermissionFlow::existingPermissionsWindowPresentationMode(bool forceActivation) -> PresentationMode {
  const MonotonicTime now = scheduler_.now();
  if (permissionsWindow_->isKey() || permissionsWindow_->isMain()) return suppressRaise("already_front");
  const auto allowRaise = [&](const char* reason) {
    lastPermissionWindowAutomaticRaiseAt_ = now;
    TavikComputerUseLogger::info(
        LogCategory::permissions, "permission_window_raise_allowed",
        {{"reason", reason}, {"count", permissionWindowAutomaticRaiseCount_}});
    return PresentationMode::activateAndRaise;
  };
  if (forceActivation) return allowRaise("permission_transition");
  if (permissionWindowAutomaticRaiseCount_ >= automaticRaiseLimit) return suppressRaise("limit");
  if (lastPermissionWindowAutomaticRaiseAt_ &&
      now - *lastPermissionWindowAutomaticRaiseAt_ < seconds(automaticRaiseIntervalSeconds)) {
    return suppressRaise("interval");
  }
  ++permissionWindowAutomaticRaiseCount_;
  return allowRaise("retry");
}

auto PermissionFlow::suppressRaise(const char* reason) -> PresentationMode {
  TavikComputerUseLogger::info(LogCategory::permissions, "permission_window_raise_suppressed",
                               {{"reason", reason},
                                {"isKey", permissionsWindow_->isKey()},
                                {"isMain", permissionsWindow_->isMain()},
                                {"count", permissionWindowAutomaticRaiseCount_}});
  return PresentationMode::logOnly;
}

void PermissionFlow::beginPermissionFlowIfNeeded(const std::string& source) {
  if (permissionFlowActive_) return;
  permissionFlowStartedAt_ = scheduler_.now();
  permissionWindowAutomaticRaiseCount_ = 0;
  lastPermissionWindowAutomaticRaiseAt_.reset();
  permissionFlowActive_ = true;
  TavikComputerUseLogger::info(LogCategory::permissions, "permission_flow_state_changed",
                               {{"active", true}, {"source", source}, {"maxLifetimeMs", maxLifetimeMs}});
}

void PermissionFlow::endPermissionFlow() {
  if (!std::exchange(permissionFlowActive_, false)) return;
  TavikComputerUseLogger::info(LogCategory::permissions, "permission_flow_state_changed",
                               {{"active", false}});
}

void PermissionFlow::dismissPermissionUI() {
  const bool wasVisible = permissionsWindow_ && permissionsWindow_->isVisible();
  permissionsWindow_.reset();
  TavikComputerUseLogger::info(
      LogCategory::permissions, "permission_ui_dismissed",
      {{"permissionsWindowWasVisible", wasVisible}, {"accessoryWindowWasVisible", false}});
  endPermissionFlow();
}

void PermissionFlow::dismissPermissionUIIfNeeded() {
  if (permissionsWindow_ || permissionFlowActive_) dismissPermissionUI();
}

void PermissionFlow::userClosedPermissionsWindow() {
  TavikComputerUseLogger::info(LogCategory::permissions, "permission_ui_user_closed",
                               {{"permissionSummary", permissionState_.diagnosticSummary()}});
  userClosedWindow_();
  dismissPermissionUI();
}

void PermissionFlow::permissionsChanged(const ComputerUseRuntimePermissionState::Grants& before,
                                        const ComputerUseRuntimePermissionState::Grants& after) {
  const bool accessibilityJustGranted = !before.accessibility && after.accessibility;
  const bool screenRecordingJustGranted = !before.screenRecording && after.screenRecording;
  if (!accessibilityJustGranted && !screenRecordingJustGranted) return;
  TavikComputerUseLogger::info(LogCategory::permissions, "permission_transition_observed",
                               {{"accessibilityJustGranted", accessibilityJustGranted},
                                {"screenRecordingJustGranted", screenRecordingJustGranted},
                                {"permissionSummary", permissionState_.diagnosticSummary()}});
  if (permissionState_.grants().areComplete()) {
    dismissPermissionUIIfNeeded();
  } else if (permissionsWindow_) {
    showPermissionsWindow("permissionTransition", true);
  }
}

bool PermissionFlow::shouldDeferShutdown(const std::string& trigger) {
  if (!permissionFlowActive_) return false;
  permissionState_.refreshNow("permissionFlowShutdownDeferral." + trigger);
  const Duration elapsed =
      permissionFlowStartedAt_ ? scheduler_.now() - *permissionFlowStartedAt_ : Duration::zero();
  LogFields fields{{"trigger", trigger},
                   {"elapsedMs", roundedMilliseconds(elapsed)},
                   {"permissionSummary", permissionState_.diagnosticSummary()}};
  if (permissionState_.grants().areComplete()) {
    fields.emplace("reason", "permissions_granted");
    TavikComputerUseLogger::info(LogCategory::lifecycle, "shutdown_deferral_finished", fields);
    endPermissionFlow();
    return false;
  }
  fields.emplace("maxLifetimeMs", maxLifetimeMs);
  if (elapsed < seconds(maxLifetimeSeconds)) {
    TavikComputerUseLogger::info(LogCategory::lifecycle, "shutdown_deferred", fields);
    return true;
  }
  TavikComputerUseLogger::warning(LogCategory::lifecycle, "shutdown_deferral_expired", fields);
  dismissPermissionUI();
  return false;
}

}  // namespace tavik
