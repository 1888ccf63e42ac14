#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "AccessibilitySupport/Access/AXWrapper.h"
#include "AccessibilitySupport/Tree/UIElementTree.h"
#include "AccessibilitySupport/Tree/UIElementTreeTransformationRunner.h"
#include "Base/Encoding/Bytes.h"
#include "ComputerUsePlatform/Windows/TargetWindow.h"
#include "PlatformInterfaces/ImageCodingPort.h"
#include "PlatformInterfaces/WindowServerPort.h"

namespace tavik {

/// Why there is no picture; the text is for the model.
class ApplicationSnapshotCaptureError : public std::exception, public LoggableError {
 public:
  static ApplicationSnapshotCaptureError noTargetWindow(std::int32_t pid);
  static ApplicationSnapshotCaptureError invalidWindowSize(std::uint32_t windowID);
  static ApplicationSnapshotCaptureError windowScreenshotUnavailable(std::uint32_t windowID);
  static ApplicationSnapshotCaptureError pngWriteFailed();

  const std::string& description() const { return description_; }
  const char* what() const noexcept override { return description_.c_str(); }
  LoggedError loggedError() const override;

 private:
  ApplicationSnapshotCaptureError(long code, std::string description)
      : code_(code), description_(std::move(description)) {}
  long code_;
  std::string description_;
};

/// Takes from one application what one state needs: the tree, made readable, and a
/// picture of the window that it was read from. A picture that cannot be had
/// becomes a text; the tree goes out all the same.
class ApplicationSnapshotCapture {
 public:
  struct CaptureResult {
    std::shared_ptr<UIElementTree> tree;
    /// PNG; its shorter side has 768 pixels.
    std::optional<Bytes> screenshotData;
    std::optional<Size> scaledScreenSize;
    std::optional<std::uint32_t> targetWindowID;
    std::optional<Rect> targetWindowBounds;
    std::optional<std::string> screenshotErrorDescription;
  };

  ApplicationSnapshotCapture(AXWrapper& access, WindowServerPort& windowServer, ImageCodingPort& imageCoding,
                             UIElementTreeTransformationRunner& transformations, Scheduler& scheduler);

  /// Blocks for the reading, at most for the tree's five seconds plus the picture.
  /// Throws only `CancellationError`.
  CaptureResult capture(std::int32_t pid);

  /// The pixels of the picture of a window with this frame; absent without a
  /// positive size.
  static std::optional<Size> singleWindowCaptureSize(const Rect& frame);

 private:
  struct Screenshot {
    Bytes png;
    Size pixelSize;
  };

  std::optional<AXElement> rootElement(std::int32_t pid, const std::optional<TargetWindowCandidate>& target);
  Screenshot captureScreenshot(std::int32_t pid, const std::optional<TargetWindowCandidate>& target);

  AXWrapper& access_;
  WindowServerPort& windowServer_;
  ImageCodingPort& imageCoding_;
  UIElementTreeTransformationRunner& transformations_;
  Scheduler& scheduler_;
};

}  // namespace tavik
