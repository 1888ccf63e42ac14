#include "ComputerUseToolRuntime/State/FallbackAppState.h"

#include <utility>

#include "ComputerUseToolRuntime/State/AppStateDump.h"
#include "ComputerUseToolRuntime/State/StateTreeQuality.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {

constexpr const char* toolName = "fallback-get-app-state";
constexpr double probeTimeoutSeconds = 2.0;
constexpr double deniedCooldownSeconds = 5.0;
constexpr int treeDepth = 50;
constexpr Duration treeTimeout = milliseconds(5000);
constexpr int mostDumpedElements = 5000;

}  // namespace

std::string minimalIndicesWarning(const std::string& app) {
  return "Accessibility warning: '" + app +
         "' returned only a role-level fallback tree after normal serialization produced zero lines. The displayed "
         "element_index values are valid for this snapshot, but controls may have limited names or actions. Prefer a "
         "fresh get_app_state before relying on ambiguous elements.";
}

std::string emptyTreeFailure(const std::string& app) {
  return "Accessibility tree serialization failed for '" + app +
         "': AX nodes were discovered, but no usable accessibility_tree lines could be produced after application-root "
         "and minimal-index recovery. The screenshot may be attached for diagnostics, but no element_index session was "
         "created. Retry get_app_state before sending element actions.";
}

FallbackAppState::FallbackAppState(ApplicationSnapshotCapture& capture, ApplicationWindows& applicationWindows,
                                   WindowServerAccessBroker& broker, ScreenCapturePermissionProbeBroker& probe,
                                   StateRootSelector& roots, AXWrapper& access,
                                   const UIElementTreeTransformationRunner& transformations,
                                   CaptureEnvironment environment, Scheduler& scheduler)
    : capture_(capture),
      applicationWindows_(applicationWindows),
      broker_(broker),
      probe_(probe),
      roots_(roots),
      access_(access),
      transformations_(transformations),
      environment_(std::move(environment)),
      scheduler_(scheduler) {}

FallbackAppStateCapture FallbackAppState::fallbackGetAppState(std::int32_t pid, const std::string& app,
                                                              const Render& render,
                                                              std::vector<ToolResultContent>& contentBlocks) {
  FallbackAppStateCapture state;
  if (const auto window = capture_.preferredTargetWindowSnapshot(pid)) {
    state.targetWindowID = window->windowID;
    state.targetWindowBounds = window->bounds;
  }
  if (isScreenCaptureGranted() && state.targetWindowID) addScreenshot(state, pid, contentBlocks);
  try {
    addTree(state, pid, app, render, contentBlocks);
  } catch (const CancellationError&) {
    throw;
  } catch (const std::exception&) {
    state.axFailureStage = "fallback_tree_fetch";
    state.axErrorCode = getAppStateDiagnosticErrorCode(std::current_exception());
    addDump(state, pid, contentBlocks);
  }
  return state;
}

bool FallbackAppState::isScreenCaptureGranted() {
  const bool isGranted = probe_.isGranted(probeTimeoutSeconds, deniedCooldownSeconds);
  if (isGranted) {
    TavikComputerUseLogger::info(LogCategory::permissions, "permission_check_finished",
                                 {{"outcome", "granted"}, {"evidence", "fast_capture"}});
  } else {
    TavikComputerUseLogger::warning(LogCategory::permissions, "permission_check_finished",
                                    {{"outcome", "denied_or_timeout"}});
  }
  return isGranted;
}

void FallbackAppState::addScreenshot(FallbackAppStateCapture& state, std::int32_t pid,
                                     std::vector<ToolResultContent>& contentBlocks) {
  const CapturePolicy policy = defaultCapturePolicy(pid, true, environment_);
  if (policy == CapturePolicy::axOnly) return;
  try {
    CaptureArtifact artifact = capture_.captureCGWindowScreenshot(*state.targetWindowID, toolName, policy, pid);
    state.screenshotPixelSize = artifact.pixelSize;
    state.screenshotOutcome = ArtifactOutcome::success;
    contentBlocks.push_back(ToolResultContent::image(std::move(artifact.pngData), "image/png"));
  } catch (const CancellationError&) {
    throw;
  } catch (const std::exception&) {
    state.screenshotOutcome = ArtifactOutcome::failed;
  }
}

void FallbackAppState::addTree(FallbackAppStateCapture& state, std::int32_t pid, const std::string& app,
                               const Render& render, std::vector<ToolResultContent>& contentBlocks) {
  std::optional<AXElement> root;
  if (state.targetWindowID) {
    WindowServerWindowSnapshot windows(broker_);
    const auto window = applicationWindows_.window(pid, *state.targetWindowID, &windows);
    if (window) root = window->axWindow;
  }
  auto tree = UIElementTree::build(access_, scheduler_, pid, root, treeDepth, treeTimeout);
  if (!tree->rootItem->role) throw UIElementError::invalidElement();
  transformations_.transform(*tree);

  SerializableAppState readable{tree, tree->serializeForAppState()};
  if (readable.text.empty()) readable = roots_.recoverEmptySerializedAppState(pid, tree);
  state.axRecovery = readable.recovery;
  state.axNodeCount = static_cast<int>(readable.tree->allItems().size());
  state.axOutputLineCount = StateTreeQuality::lineCount(*readable.tree);
  if (readable.text.empty()) {
    state.axOutcome = ArtifactOutcome::empty;
    state.axFailureStage = "fallback_tree_serialization";
    state.axErrorCode = "empty_tree";
    contentBlocks.push_back(ToolResultContent::text(emptyTreeFailure(app)));
    return;
  }
  state.tree = readable.tree;
  state.axOutcome = ArtifactOutcome::success;
  const bool hasMinimalIndices = readable.recovery == "minimal_indices";
  if (hasMinimalIndices) {
    state.axOutcome = ArtifactOutcome::partial;
    state.axFailureStage = "fallback_tree_serialization_recovery";
    state.axErrorCode = "minimal_tree";
  } else if (!StateTreeQuality::passesReadinessTest(*readable.tree)) {
    state.axOutcome = ArtifactOutcome::partial;
    state.axFailureStage = "fallback_tree_quality";
    state.axErrorCode = "sparse_tree";
  }
  contentBlocks.push_back(ToolResultContent::text(render(*readable.tree, readable.text)));
  if (hasMinimalIndices) contentBlocks.push_back(ToolResultContent::text(minimalIndicesWarning(app)));
}

void FallbackAppState::addDump(FallbackAppStateCapture& state, std::int32_t pid,
                               std::vector<ToolResultContent>& contentBlocks) {
  AppStateDump dump(access_, scheduler_);
  std::string text = dump.buildAXTree(access_.port().createApplication(pid), treeDepth, mostDumpedElements);
  state.axOutcome = text.empty() ? ArtifactOutcome::failed : ArtifactOutcome::partial;
  if (!text.empty()) contentBlocks.push_back(ToolResultContent::text(std::move(text)));
}

}  // namespace tavik
