#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Base/Concurrency/TaskGroup.h"
#include "ComputerUsePlatform/Capture/ApplicationSnapshotCaptureError.h"
#include "ComputerUsePlatform/Windows/WindowUtilities.h"
#include "PlatformInterfaces/ImageCodingPort.h"
#include "PlatformInterfaces/ScreenCapturePort.h"

namespace tavik {

/// Takes one picture by one of the platform's two ways and writes it to a file.
/// Nothing here bounds the platform's calls as a whole; `CaptureCoordinator` does.
/// Any thread.
class WindowScreenshot {
 public:
  WindowScreenshot(WindowServerPort& windowServer, ScreenCapturePort& screenCapture, ImageCodingPort& imageCoding,
                   WindowUtilities& windows, Scheduler& scheduler);

  /// The window server's picture of the window. Answers `file`; throws
  /// `ApplicationSnapshotCaptureError`.
  std::string captureCGWindowScreenshotUnsafe(std::uint32_t windowID, const std::string& file);

  /// ScreenCaptureKit's picture of the window or, without one, of the first display
  /// without some windows. Answers `file`; throws `ApplicationSnapshotCaptureError`,
  /// and `CaptureCoordinatorError::timedOut` when one of its two stages hangs.
  std::string captureScreenCaptureKitScreenshot(std::optional<std::uint32_t> targetWindowID,
                                                const std::vector<std::uint32_t>& excludeWindowIDs,
                                                const std::string& file);

  /// The pixels of the picture of a window with this frame: the shorter side has 768.
  /// Absent without a positive size.
  static std::optional<Size> singleWindowCaptureSize(const Rect& frame);

 private:
  std::string writePNG(const Image& image, const char* backend, const std::string& file);

  WindowServerPort& windowServer_;
  ScreenCapturePort& screenCapture_;
  ImageCodingPort& imageCoding_;
  WindowUtilities& windows_;
  Scheduler& scheduler_;
  /// Platform calls that outlived their time-out.
  TaskGroup lateCalls_;
};

}  // namespace tavik
