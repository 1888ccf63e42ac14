#pragma once

#include <cstdint>
#include <optional>

#include "AccessibilitySupport/Settle/AXUISettleAwaiter.h"
#include "ComputerUsePlatform/Capture/ApplicationSnapshotCapture.h"
#include "ComputerUseToolRuntime/State/RichAccessibility.h"
#include "ComputerUseToolRuntime/State/StateRootSelector.h"
#include "PlatformInterfaces/EventPostingPort.h"
#include "PlatformInterfaces/WorkspacePort.h"

namespace tavik {

/// How one state is to be captured.
struct AppStateCaptureOptions {
  std::optional<std::uint32_t> preferredTargetWindowID = {};
  std::optional<CapturePolicy> capturePolicy = {};
  bool allowSyntheticFocusRecovery = true;
  /// The application has just been started and may take its time.
  bool allowSparseReadinessRetries = false;
};

/// Captures an application again and again while the result looks incomplete, and
/// keeps the best: applications that have just started or are in the background
/// often answer with a shell first. Throws `CancellationError`. Any thread.
class AppStateCapture {
 public:
  using CaptureResult = ApplicationSnapshotCapture::CaptureResult;

  AppStateCapture(ApplicationSnapshotCapture& snapshotCapture, StateRootSelector& roots, RichAccessibility& rich,
                  const AXUISettleAwaiter& settleAwaiter, EventPostingPort& events, WorkspacePort& workspace,
                  Scheduler& scheduler);

  /// The whole schedule of looks, up to six seconds of waiting.
  CaptureResult captureWithRetries(std::int32_t pid, const AppStateCaptureOptions& options);
  CaptureResult captureOnceWithLocalRetries(std::int32_t pid, const AppStateCaptureOptions& options);

  /// The replacement with the earlier picture when it has none of its own and shows
  /// the same window in the same place.
  static CaptureResult captureResultWithPreservedScreenshotIfNeeded(CaptureResult replacement,
                                                                    const CaptureResult& previous);

 private:
  void prepareTargetForAppStateCapture(std::int32_t pid);
  CaptureResult captureAfterSyntheticFocusRetry(std::int32_t pid, const AppStateCaptureOptions& options,
                                                CaptureResult current);
  CaptureResult captureNormalized(std::int32_t pid, const AppStateCaptureOptions& options);
  void enableRichAccessibility(std::int32_t pid);
  bool isFrontmost(std::int32_t pid);
  static void keepRicher(CaptureResult& best, CaptureResult candidate);

  ApplicationSnapshotCapture& snapshotCapture_;
  StateRootSelector& roots_;
  RichAccessibility& rich_;
  const AXUISettleAwaiter& settleAwaiter_;
  EventPostingPort& events_;
  WorkspacePort& workspace_;
  Scheduler& scheduler_;
};

}  // namespace tavik
