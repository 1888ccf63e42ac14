#include "ComputerUsePlatform/Capture/ApplicationSnapshotCapture.h"

#include <algorithm>
#include <cmath>

#include "ComputerUsePlatform/Windows/ApplicationWindow.h"

namespace tavik {

namespace {

constexpr int treeDepth = 50;
constexpr double treeBuildSeconds = 5;
constexpr double shorterSidePixels = 768;

}  // namespace

ApplicationSnapshotCaptureError ApplicationSnapshotCaptureError::noTargetWindow(std::int32_t pid) {
  return {0, "No visible target window available for pid " + std::to_string(pid)};
}

ApplicationSnapshotCaptureError ApplicationSnapshotCaptureError::invalidWindowSize(std::uint32_t windowID) {
  return {1, "Skipping screenshot capture with invalid size for window " + std::to_string(windowID)};
}

ApplicationSnapshotCaptureError ApplicationSnapshotCaptureError::windowScreenshotUnavailable(std::uint32_t windowID) {
  return {2, "Screenshot capture failed for target window " + std::to_string(windowID)};
}

ApplicationSnapshotCaptureError ApplicationSnapshotCaptureError::pngWriteFailed() {
  return {4, "Failed to write PNG screenshot to disk"};
}

LoggedError ApplicationSnapshotCaptureError::loggedError() const {
  return {"ApplicationSnapshotCaptureError", "ApplicationSnapshotCaptureError", code_};
}

ApplicationSnapshotCapture::ApplicationSnapshotCapture(AXWrapper& access, WindowServerPort& windowServer,
                                                       ImageCodingPort& imageCoding,
                                                       UIElementTreeTransformationRunner& transformations,
                                                       Scheduler& scheduler)
    : access_(access),
      windowServer_(windowServer),
      imageCoding_(imageCoding),
      transformations_(transformations),
      scheduler_(scheduler) {}

ApplicationSnapshotCapture::CaptureResult ApplicationSnapshotCapture::capture(std::int32_t pid) {
  // One reading serves the window search, the build and the passes.
  const auto readScope = access_.port().beginReadScope(access_.port().createApplication(pid));
  WindowServerWindowSnapshot windows(windowServer_);
  const auto target = preferredTargetWindowCandidate(pid, windows);

  CaptureResult result;
  result.tree = UIElementTree::build(access_, scheduler_, pid, rootElement(pid, target), treeDepth,
                                     seconds(treeBuildSeconds));
  if (target) {
    result.targetWindowID = target->windowID;
    result.targetWindowBounds = target->bounds;
  }
  try {
    Screenshot screenshot = captureScreenshot(pid, target);
    result.screenshotData = std::move(screenshot.png);
    result.scaledScreenSize = screenshot.pixelSize;
  } catch (const ApplicationSnapshotCaptureError& error) {
    TavikComputerUseLogger::warning(LogCategory::capture, "capture_failed",
                                    {{"targetPid", pid}, {"error", static_cast<const std::exception&>(error)}});
    result.screenshotErrorDescription = error.description();
  }
  transformations_.transform(*result.tree);
  return result;
}

std::optional<AXElement> ApplicationSnapshotCapture::rootElement(std::int32_t pid,
                                                                 const std::optional<TargetWindowCandidate>& target) {
  if (!target) return std::nullopt;
  return ApplicationWindow::bestMatchingAXWindow(access_, target->bounds, target->title,
                                                 ApplicationWindow::axWindows(access_, pid));
}

std::optional<Size> ApplicationSnapshotCapture::singleWindowCaptureSize(const Rect& frame) {
  if (!(frame.size.width > 0) || !(frame.size.height > 0)) return std::nullopt;
  const double factor = shorterSidePixels / std::min(frame.size.width, frame.size.height);
  return Size{std::max(1.0, std::ceil(frame.size.width * factor)), std::max(1.0, std::ceil(frame.size.height * factor))};
}

ApplicationSnapshotCapture::Screenshot ApplicationSnapshotCapture::captureScreenshot(
    std::int32_t pid, const std::optional<TargetWindowCandidate>& target) {
  if (!target) throw ApplicationSnapshotCaptureError::noTargetWindow(pid);
  const auto size = singleWindowCaptureSize(target->bounds);
  if (!size) throw ApplicationSnapshotCaptureError::invalidWindowSize(target->windowID);
  const auto image = windowServer_.createWindowImage(target->windowID);
  if (!image) throw ApplicationSnapshotCaptureError::windowScreenshotUnavailable(target->windowID);
  auto png = imageCoding_.encodePNG(
      imageCoding_.scaled(*image, static_cast<int>(size->width), static_cast<int>(size->height)));
  if (!png) throw ApplicationSnapshotCaptureError::pngWriteFailed();
  TavikComputerUseLogger::info(
      LogCategory::capture, "screenshot_encoded",
      {{"backend", "cgwindow"}, {"width", static_cast<int>(size->width)}, {"height", static_cast<int>(size->height)}});
  return {std::move(*png), *size};
}

}  // namespace tavik
