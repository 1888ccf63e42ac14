#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ComputerUseContracts/ToolResult.h"
#include "ComputerUsePlatform/Capture/ApplicationSnapshotCapture.h"
#include "ComputerUsePlatform/Windows/ScreenCapturePermissionProbeBroker.h"
#include "ComputerUseToolRuntime/State/GetAppStateCaptureDiagnostics.h"
#include "ComputerUseToolRuntime/State/StateRootSelector.h"

namespace tavik {

/// What the leaner way to a state brought about, beside what it told the model.
struct FallbackAppStateCapture {
  std::optional<std::uint32_t> targetWindowID = {};
  std::optional<Rect> targetWindowBounds = {};
  std::optional<Size> screenshotPixelSize = {};
  ArtifactOutcome screenshotOutcome = ArtifactOutcome::unavailable;
  ArtifactOutcome axOutcome = ArtifactOutcome::failed;
  std::optional<std::string> axFailureStage = {};
  std::optional<std::string> axErrorCode = {};
  int axNodeCount = 0;
  int axOutputLineCount = 0;
  std::string axRecovery = "none";
  /// The tree whose indices the model was given; null when it was given none.
  std::shared_ptr<UIElementTree> tree = {};
};

/// The last way to a state, when the capture as a whole has failed: a picture by the
/// window server, and a tree or at least a list of what is there.
class FallbackAppState {
 public:
  /// Renders a tree's text as a state.
  using Render = std::function<std::string(const UIElementTree& tree, const std::string& treeText)>;

  FallbackAppState(ApplicationSnapshotCapture& capture, ApplicationWindows& applicationWindows,
                   WindowServerAccessBroker& broker, ScreenCapturePermissionProbeBroker& probe,
                   StateRootSelector& roots, AXWrapper& access,
                   const UIElementTreeTransformationRunner& transformations, CaptureEnvironment environment,
                   Scheduler& scheduler);

  /// Appends what it gets for the model, the picture before the text. Throws
  /// `CancellationError`.
  FallbackAppStateCapture fallbackGetAppState(std::int32_t pid, const std::string& app, const Render& render,
                                              std::vector<ToolResultContent>& contentBlocks);

 private:
  bool isScreenCaptureGranted();
  void addScreenshot(FallbackAppStateCapture& state, std::int32_t pid, std::vector<ToolResultContent>& contentBlocks);
  void addTree(FallbackAppStateCapture& state, std::int32_t pid, const std::string& app, const Render& render,
               std::vector<ToolResultContent>& contentBlocks);
  void addDump(FallbackAppStateCapture& state, std::int32_t pid, std::vector<ToolResultContent>& contentBlocks);

  ApplicationSnapshotCapture& capture_;
  ApplicationWindows& applicationWindows_;
  WindowServerAccessBroker& broker_;
  ScreenCapturePermissionProbeBroker& probe_;
  StateRootSelector& roots_;
  AXWrapper& access_;
  const UIElementTreeTransformationRunner& transformations_;
  const CaptureEnvironment environment_;
  Scheduler& scheduler_;
};

/// What the model is told when only indices by role could be given.
std::string minimalIndicesWarning(const std::string& app);
/// What the model is told when a tree has no text at all.
std::string emptyTreeFailure(const std::string& app);

}  // namespace tavik
