#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "AccessibilitySupport/Access/AXWrapper.h"
#include "AccessibilitySupport/Tree/UIElementTree.h"
#include "AccessibilitySupport/Tree/UIElementTreeTransformationRunner.h"
#include "ComputerUsePlatform/Capture/CaptureCoordinator.h"
#include "ComputerUsePlatform/Capture/DefaultCapturePolicy.h"
#include "ComputerUsePlatform/Capture/TargetWindow.h"
#include "ComputerUsePlatform/Capture/WindowScreenshot.h"
#include "ComputerUsePlatform/Windows/ApplicationWindow.h"

namespace tavik {

/// Takes from one application what one state needs: the tree, made readable, a
/// picture of the window that it was read from, and the geometry that leads from
/// the picture back to the screen. A picture that cannot be had becomes a text; the
/// tree goes out all the same. Any thread.
class ApplicationSnapshotCapture {
 public:
  struct Options {
    /// The window to stay on, while it is there.
    std::optional<std::uint32_t> preferredTargetWindowID = {};
    /// Not to be seen in the picture of a display.
    std::vector<std::uint32_t> excludeWindowIDs = {};
    /// By the default policy when absent.
    std::optional<CapturePolicy> capturePolicy = {};
    /// Who asks, for the log.
    std::optional<std::string> toolName = {};
  };

  struct CaptureResult {
    std::string axTreeText;
    /// PNG.
    std::optional<Bytes> screenshotData;
    /// The PNG's size, in pixels.
    std::optional<Size> scaledScreenSize;
    std::optional<std::uint32_t> targetWindowID;
    std::optional<Rect> targetWindowBounds;
    /// Where the user's pointer was.
    Point cursorPosition;
    std::shared_ptr<UIElementTree> tree;
    std::optional<std::string> screenshotErrorDescription;
    /// While it lives, the tree's live parts are read from what was fetched for it.
    /// Let go of it before the application is looked at again.
    std::shared_ptr<AXReadScope> readScope;
  };

  /// A picture, and where on the screen what it shows is.
  struct Screenshot {
    CaptureArtifact artifact;
    std::optional<std::uint32_t> windowID;
    std::optional<Rect> windowBounds;
  };

  ApplicationSnapshotCapture(AXWrapper& access, WindowServerPort& windowServer, WindowServerAccessBroker& broker,
                             ApplicationWindows& applicationWindows, WindowScreenshot& screenshot,
                             CaptureCoordinator& coordinator, const UIElementTreeTransformationRunner& transformations,
                             CaptureEnvironment environment, Scheduler& scheduler);

  /// Blocks for the reading, at most for the tree's five seconds plus the picture's
  /// few. Throws only `CancellationError`.
  CaptureResult capture(std::int32_t pid, const Options& options);

  /// Throws `CaptureCoordinatorError`, `ApplicationSnapshotCaptureError` and
  /// `CancellationError`.
  Screenshot captureScreenshot(std::optional<std::int32_t> pid, const std::optional<TargetWindowCandidate>& target,
                               const std::vector<std::uint32_t>& excludeWindowIDs, CapturePolicy policy,
                               const std::optional<std::string>& toolName);
  /// The window server's picture through the coordinator.
  CaptureArtifact captureCGWindowScreenshot(std::uint32_t windowID, const std::optional<std::string>& toolName,
                                            CapturePolicy policy, std::optional<std::int32_t> pid);

  /// The window of the process that would be read now.
  std::optional<TargetWindowCandidate> preferredTargetWindowSnapshot(std::int32_t pid);

 private:
  std::optional<AXElement> rootElement(std::int32_t pid, const std::optional<TargetWindowCandidate>& target,
                                       WindowServerWindowSnapshot& windows);
  void addScreenshot(CaptureResult& result, std::int32_t pid, const std::optional<TargetWindowCandidate>& target,
                     CapturePolicy policy, const Options& options);
  CaptureArtifact captureScreenCaptureKitScreenshot(std::optional<std::int32_t> pid,
                                                    std::optional<std::uint32_t> windowID,
                                                    const std::vector<std::uint32_t>& excludeWindowIDs,
                                                    CapturePolicy policy, const std::optional<std::string>& toolName);

  AXWrapper& access_;
  WindowServerPort& windowServer_;
  WindowServerAccessBroker& broker_;
  ApplicationWindows& applicationWindows_;
  WindowScreenshot& screenshot_;
  CaptureCoordinator& coordinator_;
  const UIElementTreeTransformationRunner& transformations_;
  const CaptureEnvironment environment_;
  Scheduler& scheduler_;
};

}  // namespace tavik
