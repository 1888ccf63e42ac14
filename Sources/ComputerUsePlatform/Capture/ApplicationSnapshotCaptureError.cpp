#include "ComputerUsePlatform/Capture/ApplicationSnapshotCaptureError.h"

namespace tavik {

ApplicationSnapshotCaptureError ApplicationSnapshotCaptureError::noTargetWindow(std::int32_t pid) {
  return {Kind::noTargetWindow, "No visible target window available for pid " + std::to_string(pid)};
}

ApplicationSnapshotCaptureError ApplicationSnapshotCaptureError::invalidWindowSize(std::uint32_t windowID) {
  return {Kind::invalidWindowSize,
          "Skipping screenshot capture with invalid size for window " + std::to_string(windowID)};
}

ApplicationSnapshotCaptureError ApplicationSnapshotCaptureError::windowScreenshotUnavailable(std::uint32_t windowID) {
  return {Kind::windowScreenshotUnavailable,
          "Screenshot capture failed for target window " + std::to_string(windowID)};
}

ApplicationSnapshotCaptureError ApplicationSnapshotCaptureError::noDisplay() {
  return {Kind::noDisplay, "No display available for screenshot capture"};
}

ApplicationSnapshotCaptureError ApplicationSnapshotCaptureError::pngWriteFailed() {
  return {Kind::pngWriteFailed, "Failed to write PNG screenshot to disk"};
}

ApplicationSnapshotCaptureError ApplicationSnapshotCaptureError::captureTimedOut() {
  return {Kind::captureTimedOut, "Screenshot capture timed out"};
}

LoggedError ApplicationSnapshotCaptureError::loggedError() const {
  return {"ApplicationSnapshotCaptureError", "ApplicationSnapshotCaptureError", static_cast<long>(kind_)};
}

}  // namespace tavik
