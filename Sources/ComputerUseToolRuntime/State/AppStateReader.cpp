#include "ComputerUseToolRuntime/State/AppStateReader.h"

#include <algorithm>
#include <utility>

#include "AccessibilitySupport/Access/AXAttributes.h"
#include "AccessibilitySupport/Tree/ItemWalk.h"
#include "Base/Text/Text.h"
#include "ComputerUseContracts/ToolError.h"
#include "ComputerUsePlatform/Refetch/RefetchableAppStateAXTree.h"
#include "ComputerUseToolRuntime/State/FocusedElementDescription.h"
#include "ComputerUseToolRuntime/State/StateTreeQuality.h"

namespace tavik {

namespace {

using Phase = GetAppStateCaptureDiagnostics::Phase;

constexpr int treeDepth = 50;
constexpr Duration treeTimeout = milliseconds(5000);
constexpr const char* finder = "com.apple.finder";
constexpr const char* noFocusedElement = "focusedElementDescriptionNotFound";

std::optional<std::string> nonEmptyTitle(const UIElementTree::Item& item) {
  return item.title && !item.title->empty() ? item.title : std::nullopt;
}

bool treeHasFinderDesktopSurface(const UIElementTree& tree) {
  return anyInSubtree(*tree.rootItem, [](const UIElementTree::Item& item) {
    const auto saysDesktop = [](const std::optional<std::string>& text) {
      return text && text::lowercased(text::trimmed(*text)) == "desktop";
    };
    return saysDesktop(item.title) || saysDesktop(item.elementDescription) || saysDesktop(item.roleDescription);
  });
}

/// What the model is told in place of a picture.
std::string screenshotStatus(const std::string& reason, ArtifactOutcome& outcome) {
  const bool wasSkipped = text::hasPrefixIgnoringCase(reason, "Screenshot skipped:");
  outcome = wasSkipped ? ArtifactOutcome::skipped : ArtifactOutcome::failed;
  return wasSkipped ? reason : "Screenshot capture failed: " + reason;
}

/// The element that the tree was read from; null for the application itself. A root
/// that was made up holds the real one as its first child.
AXElement elementReadFrom(const UIElementTree& tree) {
  const auto& root = *tree.rootItem;
  if (root.axElement || root.childItems.empty()) return root.axElement;
  return root.childItems.front()->axElement;
}

std::string printed(const AXValue& value) {
  const auto* text = value.get<std::string>();
  return text ? *text : "";
}

}  // namespace

std::optional<std::string> appStateWindowTitle(const UIElementTree& tree, const std::string& bundleID) {
  if (tree.rootItem->role == "AXWindow") {
    if (auto title = nonEmptyTitle(*tree.rootItem)) return title;
  }
  for (const auto& child : tree.rootItem->childItems) {
    if (child->role != "AXWindow") continue;
    if (auto title = nonEmptyTitle(*child)) return title;
    break;
  }
  if (bundleID == finder && treeHasFinderDesktopSurface(tree)) return "Desktop";
  return std::nullopt;
}

/// One call of get_app_state on its way.
struct AppStateReader::Look {
  std::string app;
  GetAppStateOptions options;
  ResolvedApp resolved;
  std::string appName;
  bool wasJustStarted = false;
  GetAppStateCaptureDiagnostics diagnostics;
  MonotonicTime phaseStartedAt;
  std::vector<ToolResultContent> content;
};

AppStateReader::AppStateReader(const Services& services) : services_(services), reader_(services.access) {}

ToolResult AppStateReader::getAppState(const std::string& app, const GetAppStateOptions& options) {
  Look look;
  look.app = look.appName = app;
  look.options = options;
  look.diagnostics.enabled = options.isDirectRequest();
  look.diagnostics.startedAt = look.phaseStartedAt = services_.scheduler.now();
  try {
    look.wasJustStarted = !isRunning(app);
    look.resolved = services_.resolver.resolveAppPIDForGetAppState(app, options.allowAppLaunch);
  } catch (...) {
    enterPhase(look, Phase::appResolution);
    look.diagnostics.emit(services_.scheduler.now());
    throw;
  }
  look.diagnostics.appBundleID = look.resolved.bundleID;
  look.diagnostics.targetPid = look.resolved.pid;
  const auto running = services_.workspace.runningApplication(look.resolved.pid);
  if (running && running->localizedName) look.appName = *running->localizedName;

  try {
    lookClosely(look);
  } catch (const CancellationError&) {
    // Nobody waits for this state, and the one before it is no longer true.
    services_.session.clearState();
    look.diagnostics.failureStage = rawValue(look.diagnostics.currentPhase);
    look.diagnostics.errorCode = "cancelled";
    look.diagnostics.emit(services_.scheduler.now());
    throw;
  } catch (const std::exception&) {
    lookSomehow(look, std::current_exception());
  }
  conclude(look);
  return {.content = std::move(look.content), .isError = false};
}

bool AppStateReader::isRunning(const std::string& app) {
  try {
    services_.resolver.resolveAppPID(app);
    return true;
  } catch (const ToolError&) {
    return false;
  }
}

void AppStateReader::lookClosely(Look& look) {
  auto& diagnostics = look.diagnostics;
  enterPhase(look, Phase::capturePipeline);
  const bool isFresh = look.wasJustStarted && look.options.allowAppLaunch;
  auto captured = services_.capture.captureWithRetries(
      look.resolved.pid, {.preferredTargetWindowID = look.options.preferredTargetWindowID,
                          .capturePolicy = look.options.capturePolicy,
                          .allowSyntheticFocusRecovery = look.options.allowSyntheticFocusRecovery,
                          .allowSparseReadinessRetries = isFresh});

  enterPhase(look, Phase::responseBuild);
  std::optional<ToolResultContent> screenshot;
  if (captured.screenshotData) {
    screenshot = ToolResultContent::image(std::move(*captured.screenshotData), "image/png");
    diagnostics.screenshotOutcome = ArtifactOutcome::success;
  } else if (const auto reason = text::trimmed(captured.screenshotErrorDescription.value_or("")); !reason.empty()) {
    screenshot = ToolResultContent::text(screenshotStatus(reason, diagnostics.screenshotOutcome));
  } else {
    diagnostics.screenshotOutcome = ArtifactOutcome::unavailable;
  }

  SerializableAppState state{captured.tree, captured.tree->serializeForAppState()};
  if (state.text.empty()) state = services_.roots.recoverEmptySerializedAppState(look.resolved.pid, captured.tree);
  diagnostics.axRecovery = state.recovery;
  diagnostics.axNodeCount = static_cast<int>(state.tree->allItems().size());
  diagnostics.axOutputLineCount = StateTreeQuality::lineCount(*state.tree);
  if (state.text.empty()) {
    diagnostics.axOutcome = ArtifactOutcome::empty;
    diagnostics.axFailureStage = "tree_serialization";
    diagnostics.axErrorCode = "empty_tree";
    services_.session.clearState();
    look.content.push_back(ToolResultContent::text(emptyTreeFailure(look.app)));
  } else {
    diagnostics.axOutcome = ArtifactOutcome::success;
    const bool hasMinimalIndices = state.recovery == "minimal_indices";
    if (hasMinimalIndices) {
      diagnostics.axOutcome = ArtifactOutcome::partial;
      diagnostics.axFailureStage = "tree_serialization_recovery";
      diagnostics.axErrorCode = "minimal_tree";
    } else if (!StateTreeQuality::passesReadinessTest(*state.tree)) {
      diagnostics.axOutcome = ArtifactOutcome::partial;
      diagnostics.axFailureStage = "tree_quality";
      diagnostics.axErrorCode = "sparse_tree";
    }
    look.content.push_back(
        ToolResultContent::text(renderAppStateEnvelope(description(look, *state.tree, state.text))));
    if (hasMinimalIndices) look.content.push_back(ToolResultContent::text(minimalIndicesWarning(look.app)));
    enterPhase(look, Phase::sessionSetup);
    installSession(look, state.tree, captured.targetWindowID, captured.targetWindowBounds, captured.scaledScreenSize);
  }
  if (screenshot) look.content.push_back(*std::move(screenshot));
}

void AppStateReader::lookSomehow(Look& look, const std::exception_ptr& error) {
  auto& diagnostics = look.diagnostics;
  diagnostics.fallback = "cgwindow";
  diagnostics.failureStage = rawValue(diagnostics.currentPhase);
  diagnostics.errorCode = getAppStateDiagnosticErrorCode(error);
  look.content.clear();
  const auto render = [&](const UIElementTree& tree, const std::string& treeText) {
    return renderAppStateEnvelope(description(look, tree, treeText));
  };
  const auto state = services_.fallback.fallbackGetAppState(look.resolved.pid, look.app, render, look.content);
  diagnostics.screenshotOutcome = state.screenshotOutcome;
  diagnostics.axOutcome = state.axOutcome;
  diagnostics.axFailureStage = state.axFailureStage;
  diagnostics.axErrorCode = state.axErrorCode;
  diagnostics.axNodeCount = state.axNodeCount;
  diagnostics.axOutputLineCount = state.axOutputLineCount;
  diagnostics.axRecovery = state.axRecovery;
  if (state.tree) {
    installSession(look, state.tree, state.targetWindowID, state.targetWindowBounds, state.screenshotPixelSize);
  } else {
    services_.session.clearState();
  }
}

void AppStateReader::conclude(Look& look) {
  auto& diagnostics = look.diagnostics;
  enterPhase(look, diagnostics.currentPhase);
  if (look.content.empty()) {
    diagnostics.outcome = GetAppStateCaptureDiagnostics::Outcome::empty;
    look.content.push_back(ToolResultContent::text("App state captured for: " + look.app +
                                                   " (no AX data or screenshot available)"));
  } else {
    diagnostics.concludeOutcome();
  }
  diagnostics.responseBlockCount = static_cast<int>(look.content.size());
  diagnostics.emit(services_.scheduler.now());
}

AppStateDescription AppStateReader::description(const Look& look, const UIElementTree& tree, std::string treeText) {
  const AXElement observed = focusedElementObserver_ && focusedElementObserver_->pid() == look.resolved.pid
                                 ? focusedElementObserver_->focusedElement()
                                 : AXElement();
  return {.treeText = std::move(treeText),
          .pid = look.resolved.pid,
          .bundleID = look.resolved.bundleID,
          .appName = look.appName,
          .windowTitle = appStateWindowTitle(tree, look.resolved.bundleID),
          .appSpecificInstructions = std::nullopt,
          .focusedElementDescription = modelFocusedElementDescription(
              look.resolved.pid, tree, look.options.preActionFocusedElement, observed, reader_),
          .selectedText = tree.selectedElementText(),
          .selectedElementsDescription = tree.selectedElementsDescription()};
}

void AppStateReader::installSession(Look& look, std::shared_ptr<UIElementTree> tree,
                                    std::optional<std::uint32_t> windowID, std::optional<Rect> bounds,
                                    std::optional<Size> pixelSize) {
  // A state that nobody waits for any more must not become the model's.
  services_.scheduler.checkCancellation();
  const std::int32_t pid = look.resolved.pid;
  auto treeBuilder = [&access = services_.access, &scheduler = services_.scheduler, pid,
                      rootElement = elementReadFrom(*tree)] {
    const auto root = rootElement ? rootElement : access.port().createApplication(pid);
    return UIElementTree::build(access, scheduler, pid, root, treeDepth, treeTimeout);
  };
  auto appStateTree = std::make_shared<RefetchableAppStateAXTree>(services_.access, services_.transformations, tree, pid,
                                                                  std::move(treeBuilder));
  const auto frontmost = services_.workspace.frontmostApplication();
  auto focused = focusedElementDescription(pid);
  const bool isComparable = focused.has_value();
  if (const std::string ofTree = tree->focusedElementDescription(); !focused && ofTree != noFocusedElement) {
    focused = ofTree;
  }
  services_.session.install(std::move(appStateTree), std::move(tree),
                            {.appQuery = look.app,
                             .bundleIdentifier = look.resolved.bundleID,
                             .pid = pid,
                             .appName = look.appName,
                             .frontmostPID = frontmost ? std::optional(frontmost->pid) : std::nullopt,
                             .focusedElementDescription = std::move(focused),
                             .focusedElementDescriptionIsComparable = isComparable,
                             .targetWindowID = windowID,
                             .targetWindowBounds = bounds,
                             .screenshotPixelSize = pixelSize,
                             .capturedAt = services_.scheduler.wallTime()});

  auto& monitor = services_.userInteractionMonitor;
  monitor.clearIntervention(look.resolved.bundleID);
  const bool isWatched =
      monitor.currentProcessID() == pid && monitor.currentAppIdentifier() == look.resolved.bundleID;
  if (!isWatched) monitor.startMonitoring(look.resolved.bundleID, look.appName, pid);
  startFocusedElementObserverIfNeeded(pid);
}

void AppStateReader::startFocusedElementObserverIfNeeded(std::int32_t pid) {
  if (focusedElementObserver_ && focusedElementObserver_->pid() == pid && focusedElementObserver_->isRunning()) return;
  stopFocusedElementObserver();
  focusedElementObserver_ = SystemFocusedUIElementObserver::create(services_.access, pid);
  focusedElementObserver_->start();
}

void AppStateReader::stopFocusedElementObserver() {
  if (focusedElementObserver_) focusedElementObserver_->stop();
  focusedElementObserver_.reset();
}

/// Notes how long the phase before took.
void AppStateReader::enterPhase(Look& look, Phase phase) {
  auto& diagnostics = look.diagnostics;
  const MonotonicTime now = services_.scheduler.now();
  const std::int64_t took = roundedMilliseconds(now - look.phaseStartedAt);
  switch (diagnostics.currentPhase) {
    case Phase::appResolution:
      diagnostics.appResolutionMs = took;
      break;
    case Phase::capturePipeline:
      diagnostics.capturePipelineMs = took;
      break;
    case Phase::responseBuild:
      diagnostics.responseBuildMs = took;
      break;
    case Phase::sessionSetup:
      diagnostics.sessionSetupMs = took;
      break;
  }
  look.phaseStartedAt = now;
  diagnostics.currentPhase = phase;
}

std::optional<std::string> AppStateReader::focusedElementDescription(std::int32_t pid) {
  const AXElement focused = reader_.focusedElement(pid);
  if (!focused) return std::nullopt;
  std::vector<std::string> pieces;
  for (const std::string& attribute : {AXAttributes::role, AXAttributes::subrole, AXAttributes::title,
                                       AXAttributes::description, AXAttributes::identifier}) {
    if (auto value = services_.access.copyAttributeValueOptional(focused, attribute)) {
      pieces.push_back(attribute + "=" + printed(*value));
    }
  }
  return pieces.empty() ? std::nullopt : std::optional(text::joined(pieces, "|"));
}

}  // namespace tavik
