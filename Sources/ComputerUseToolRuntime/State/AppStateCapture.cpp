#include "ComputerUseToolRuntime/State/AppStateCapture.h"

#include <cmath>
#include <utility>
#include <vector>

#include "AccessibilitySupport/Focus/SyntheticAppFocusEnforcer.h"
#include "ComputerUseToolRuntime/State/StateTreeQuality.h"

namespace tavik {

namespace {

using CaptureResult = AppStateCapture::CaptureResult;
using namespace StateTreeQuality;

const std::vector<Duration> outerDelays = {milliseconds(700), milliseconds(1000), milliseconds(1300)};
const std::vector<Duration> freshLaunchDelays = {milliseconds(700), milliseconds(1000), milliseconds(1300)};
const std::vector<Duration> ordinaryDelays = {milliseconds(350)};
constexpr Duration afterSyntheticFocus = milliseconds(100);
constexpr Duration syntheticFocusRetry = milliseconds(450);
constexpr double boundsTolerance = 0.5;

bool boundsAgree(const std::optional<Rect>& a, const std::optional<Rect>& b) {
  const auto isNear = [](double x, double y) { return std::abs(x - y) <= boundsTolerance; };
  return a && b && isNear(a->origin.x, b->origin.x) && isNear(a->origin.y, b->origin.y) &&
         isNear(a->size.width, b->size.width) && isNear(a->size.height, b->size.height);
}

}  // namespace

AppStateCapture::AppStateCapture(ApplicationSnapshotCapture& snapshotCapture, StateRootSelector& roots,
                                 RichAccessibility& rich, const AXUISettleAwaiter& settleAwaiter,
                                 EventPostingPort& events, WorkspacePort& workspace, Scheduler& scheduler)
    : snapshotCapture_(snapshotCapture),
      roots_(roots),
      rich_(rich),
      settleAwaiter_(settleAwaiter),
      events_(events),
      workspace_(workspace),
      scheduler_(scheduler) {}

CaptureResult AppStateCapture::captureWithRetries(std::int32_t pid, const AppStateCaptureOptions& options) {
  CaptureResult best = captureOnceWithLocalRetries(pid, options);
  if (passesReadinessTest(*best.tree)) return best;

  AppStateCaptureOptions retryOptions = options;
  retryOptions.capturePolicy.reset();
  std::string signature = stateTreeSignature(*best.tree);
  bool repetition = false;
  for (const Duration delay : outerDelays) {
    best.readScope.reset();
    scheduler_.sleep(delay);
    CaptureResult retried = captureOnceWithLocalRetries(pid, retryOptions);
    std::string retriedSignature = stateTreeSignature(*retried.tree);
    keepRicher(best, std::move(retried));
    // Two equal answers in a row: the application will not change any more.
    const bool isEqual = retriedSignature == signature;
    if (isEqual && repetition) break;
    repetition = isEqual;
    signature = std::move(retriedSignature);
    if (passesReadinessTest(*best.tree)) break;
  }
  return best;
}

CaptureResult AppStateCapture::captureOnceWithLocalRetries(std::int32_t pid, const AppStateCaptureOptions& options) {
  if (options.allowSyntheticFocusRecovery) prepareTargetForAppStateCapture(pid);
  enableRichAccessibility(pid);
  CaptureResult best = captureNormalized(pid, options);
  for (const Duration delay : options.allowSparseReadinessRetries ? freshLaunchDelays : ordinaryDelays) {
    if (passesReadinessTest(*best.tree)) break;
    best.readScope.reset();
    if (options.allowSyntheticFocusRecovery && !isFrontmost(pid)) {
      SyntheticAppFocusEnforcer::postSyntheticFocusEvent(events_, pid);
      scheduler_.sleep(afterSyntheticFocus);
    }
    enableRichAccessibility(pid);
    scheduler_.sleep(delay);
    keepRicher(best, captureNormalized(pid, options));
  }
  if (options.allowSyntheticFocusRecovery && !passesReadinessTest(*best.tree)) {
    return captureAfterSyntheticFocusRetry(pid, options, std::move(best));
  }
  return best;
}

CaptureResult AppStateCapture::captureNormalized(std::int32_t pid, const AppStateCaptureOptions& options) {
  CaptureResult result = snapshotCapture_.capture(pid, {.preferredTargetWindowID = options.preferredTargetWindowID,
                                                        .excludeWindowIDs = {},
                                                        .capturePolicy = options.capturePolicy,
                                                        .toolName = "get_app_state"});
  result.tree = roots_.normalizedStateTree(pid, result.tree);
  return result;
}

/// The application does not come to the front; it only behaves as if it had.
void AppStateCapture::prepareTargetForAppStateCapture(std::int32_t pid) {
  if (isFrontmost(pid)) return;
  SyntheticAppFocusEnforcer::postSyntheticFocusEvent(events_, pid);
  scheduler_.sleep(afterSyntheticFocus);
}

CaptureResult AppStateCapture::captureAfterSyntheticFocusRetry(std::int32_t pid,
                                                               const AppStateCaptureOptions& options,
                                                               CaptureResult current) {
  if (!workspace_.runningApplication(pid) || isFrontmost(pid)) return current;
  current.readScope.reset();
  SyntheticAppFocusEnforcer::postSyntheticFocusEvent(events_, pid);
  scheduler_.sleep(syntheticFocusRetry);
  CaptureResult retried = captureNormalized(pid, options);
  if (!isRicherAppStateTree(*retried.tree, *current.tree)) {
    current.readScope = std::move(retried.readScope);
    return current;
  }
  return captureResultWithPreservedScreenshotIfNeeded(std::move(retried), current);
}

void AppStateCapture::enableRichAccessibility(std::int32_t pid) {
  if (rich_.enableRichAccessibilityIfSupported(pid)) settleAwaiter_.waitForSettle(pid);
}

bool AppStateCapture::isFrontmost(std::int32_t pid) {
  const auto frontmost = workspace_.frontmostApplication();
  return frontmost && frontmost->pid == pid;
}

void AppStateCapture::keepRicher(CaptureResult& best, CaptureResult candidate) {
  if (!isRicherAppStateTree(*candidate.tree, *best.tree)) {
    best.readScope = std::move(candidate.readScope);
    return;
  }
  best = captureResultWithPreservedScreenshotIfNeeded(std::move(candidate), best);
}

CaptureResult AppStateCapture::captureResultWithPreservedScreenshotIfNeeded(CaptureResult replacement,
                                                                            const CaptureResult& previous) {
  const bool showsTheSame = replacement.targetWindowID == previous.targetWindowID &&
                            boundsAgree(replacement.targetWindowBounds, previous.targetWindowBounds);
  if (replacement.screenshotData || !previous.screenshotData || !showsTheSame) return replacement;
  replacement.screenshotData = previous.screenshotData;
  replacement.scaledScreenSize = previous.scaledScreenSize;
  replacement.screenshotErrorDescription.reset();
  return replacement;
}

}  // namespace tavik
