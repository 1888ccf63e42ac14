#include "ComputerUsePlatform/Capture/ApplicationSnapshotCapture.h"

#include <utility>

#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {

constexpr int treeDepth = 50;
constexpr double treeBuildSeconds = 5;
constexpr double screenCaptureKitSeconds = 3;
constexpr double windowImageSeconds = 1.5;

}  // namespace

ApplicationSnapshotCapture::ApplicationSnapshotCapture(
    AXWrapper& access, WindowServerPort& windowServer, WindowServerAccessBroker& broker,
    ApplicationWindows& applicationWindows, WindowScreenshot& screenshot, CaptureCoordinator& coordinator,
    const UIElementTreeTransformationRunner& transformations, CaptureEnvironment environment, Scheduler& scheduler)
    : access_(access),
      windowServer_(windowServer),
      broker_(broker),
      applicationWindows_(applicationWindows),
      screenshot_(screenshot),
      coordinator_(coordinator),
      transformations_(transformations),
      environment_(std::move(environment)),
      scheduler_(scheduler) {}

ApplicationSnapshotCapture::CaptureResult ApplicationSnapshotCapture::capture(std::int32_t pid,
                                                                              const Options& options) {
  CaptureResult result;
  // One reading serves the window search, the build, the passes and what comes after.
  result.readScope = access_.port().beginReadScope(access_.port().createApplication(pid));
  WindowServerWindowSnapshot windows(broker_);
  const auto target = options.preferredTargetWindowID
                          ? targetWindowSnapshot(*options.preferredTargetWindowID, pid, windows)
                          : preferredTargetWindowCandidate(pid, windows);
  const auto root = rootElement(pid, target, windows);
  const CapturePolicy policy =
      options.capturePolicy.value_or(defaultCapturePolicy(pid, target.has_value(), environment_));

  if (target) {
    result.targetWindowID = target->windowID;
    result.targetWindowBounds = target->bounds;
  }
  result.tree = UIElementTree::build(access_, scheduler_, pid, root, treeDepth, seconds(treeBuildSeconds));
  addScreenshot(result, pid, target, policy, options);
  transformations_.transform(*result.tree);
  result.axTreeText = result.tree->serializeForAppState();
  result.cursorPosition = windowServer_.mouseLocation();
  return result;
}

std::optional<AXElement> ApplicationSnapshotCapture::rootElement(std::int32_t pid,
                                                                 const std::optional<TargetWindowCandidate>& target,
                                                                 WindowServerWindowSnapshot& windows) {
  if (!target) return std::nullopt;
  const auto window = applicationWindows_.window(pid, target->windowID, &windows);
  return window ? std::optional(window->axWindow) : std::nullopt;
}

void ApplicationSnapshotCapture::addScreenshot(CaptureResult& result, std::int32_t pid,
                                               const std::optional<TargetWindowCandidate>& target,
                                               CapturePolicy policy, const Options& options) {
  const auto log = [&](LogLevel level, const char* event, const std::exception& error, LogFields fields) {
    fields.insert({{"policy", rawValue(policy)}, {"targetPid", pid}, {"tool", options.toolName}, {"error", error}});
    TavikComputerUseLogger::log(level, LogCategory::capture, event, fields);
    result.screenshotErrorDescription = error.what();
  };
  try {
    Screenshot screenshot = captureScreenshot(pid, target, options.excludeWindowIDs, policy, options.toolName);
    result.screenshotData = std::move(screenshot.artifact.pngData);
    result.scaledScreenSize = screenshot.artifact.pixelSize;
    if (screenshot.windowBounds) result.targetWindowBounds = screenshot.windowBounds;
  } catch (const CancellationError&) {
    throw;
  } catch (const CaptureCoordinatorError& error) {
    switch (error.kind()) {
      case CaptureCoordinatorError::Kind::skipped:
        return log(LogLevel::info, "capture_skipped", error, {});
      case CaptureCoordinatorError::Kind::timedOut:
        return log(LogLevel::warning, "capture_failed", error, {{"outcome", "timeout"}});
      case CaptureCoordinatorError::Kind::unavailable:
        return log(LogLevel::warning, "capture_failed", error, {{"outcome", "unavailable"}});
    }
  } catch (const std::exception& error) {
    log(LogLevel::warning, "capture_failed", error, {{"outcome", "failed"}});
  }
}

ApplicationSnapshotCapture::Screenshot ApplicationSnapshotCapture::captureScreenshot(
    std::optional<std::int32_t> pid, const std::optional<TargetWindowCandidate>& target,
    const std::vector<std::uint32_t>& excludeWindowIDs, CapturePolicy policy,
    const std::optional<std::string>& toolName) {
  if (policy == CapturePolicy::axOnly) throw CaptureCoordinatorError::skipped("capture policy AX_ONLY");

  const auto ofTarget = [&](CaptureArtifact artifact) -> Screenshot {
    if (!target) return {std::move(artifact), std::nullopt, std::nullopt};
    return {std::move(artifact), target->windowID, target->bounds};
  };
  if (policy == CapturePolicy::safeWindowImage) {
    if (!target) throw CaptureCoordinatorError::skipped("safe window capture requires a target app");
    return ofTarget(captureCGWindowScreenshot(target->windowID, toolName, policy, pid));
  }
  const bool isAboutAWindow = policy == CapturePolicy::sckWindowImage;
  if (isAboutAWindow && !target) throw ApplicationSnapshotCaptureError::noTargetWindow(pid.value_or(0));
  const auto windowID = isAboutAWindow ? std::optional(target->windowID) : std::nullopt;
  try {
    return ofTarget(captureScreenCaptureKitScreenshot(pid, windowID, excludeWindowIDs, policy, toolName));
  } catch (const CancellationError&) {
    throw;
  } catch (const std::exception& error) {
    const auto* captureError = dynamic_cast<const CaptureCoordinatorError*>(&error);
    // Behind a capture that hangs, a second way would only hang as well.
    const bool hangs = captureError && captureError->kind() == CaptureCoordinatorError::Kind::timedOut;
    if (hangs || !isAboutAWindow || !pid) throw;
  }
  TavikComputerUseLogger::warning(
      LogCategory::capture, "capture_fallback",
      {{"windowId", target->windowID}, {"backend", "sck"}, {"fallback", "cgwindow"}, {"reason", "sck_failed"}});
  return ofTarget(captureCGWindowScreenshot(target->windowID, toolName, policy, pid));
}

CaptureArtifact ApplicationSnapshotCapture::captureCGWindowScreenshot(std::uint32_t windowID,
                                                                      const std::optional<std::string>& toolName,
                                                                      CapturePolicy policy,
                                                                      std::optional<std::int32_t> pid) {
  return coordinator_.capture({pid, windowID, policy, CaptureBackend::cgWindow}, toolName, windowImageSeconds,
                              [this, windowID](const std::string& file) {
                                return screenshot_.captureCGWindowScreenshotUnsafe(windowID, file);
                              });
}

CaptureArtifact ApplicationSnapshotCapture::captureScreenCaptureKitScreenshot(
    std::optional<std::int32_t> pid, std::optional<std::uint32_t> windowID,
    const std::vector<std::uint32_t>& excludeWindowIDs, CapturePolicy policy,
    const std::optional<std::string>& toolName) {
  return coordinator_.capture({pid, windowID, policy, CaptureBackend::screenCaptureKit}, toolName,
                              screenCaptureKitSeconds, [this, windowID, excludeWindowIDs](const std::string& file) {
                                return screenshot_.captureScreenCaptureKitScreenshot(windowID, excludeWindowIDs, file);
                              });
}

std::optional<TargetWindowCandidate> ApplicationSnapshotCapture::preferredTargetWindowSnapshot(std::int32_t pid) {
  WindowServerWindowSnapshot windows(broker_);
  return preferredTargetWindowCandidate(pid, windows);
}

}  // namespace tavik
