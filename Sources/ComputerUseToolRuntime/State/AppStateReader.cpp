#include "ComputerUseToolRuntime/State/AppStateReader.h"

#include <algorithm>
#include <utility>

#include "AccessibilitySupport/Tree/ItemWalk.h"
#include "Base/Text/Text.h"
#include "ComputerUseContracts/ToolError.h"
#include "ComputerUseToolRuntime/State/FocusedElementDescription.h"
#include "ComputerUseToolRuntime/State/ScreenshotContent.h"
#include "ComputerUseToolRuntime/State/StateTreeQuality.h"

namespace tavik {

namespace {

using Phase = GetAppStateCaptureDiagnostics::Phase;

constexpr const char* finder = "com.apple.finder";

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
  StateSubject subject;
  GetAppStateOptions options;
  bool wasJustStarted = false;
  GetAppStateCaptureDiagnostics diagnostics;
  MonotonicTime phaseStartedAt;
  std::vector<ToolResultContent> content;
};

AppStateReader::AppStateReader(const Services& services) : services_(services), reader_(services.access) {}

ToolResult AppStateReader::getAppState(const std::string& app, const GetAppStateOptions& options) {
  Look look;
  look.subject.appQuery = look.subject.appName = app;
  look.subject.preActionFocusedElement = options.preActionFocusedElement;
  look.options = options;
  look.diagnostics.enabled = options.isDirectRequest();
  look.diagnostics.startedAt = look.phaseStartedAt = services_.scheduler.now();
  try {
    look.wasJustStarted = !isRunning(app);
    look.subject.resolved = services_.resolver.resolveAppPIDForGetAppState(app, options.allowAppLaunch);
  } catch (...) {
    enterPhase(look, Phase::appResolution);
    look.diagnostics.emit(services_.scheduler.now());
    throw;
  }
  look.diagnostics.appBundleID = look.subject.resolved.bundleID;
  look.diagnostics.targetPid = look.subject.resolved.pid;
  const auto running = services_.workspace.runningApplication(look.subject.resolved.pid);
  if (running && running->localizedName) look.subject.appName = *running->localizedName;

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
      look.subject.resolved.pid, {.preferredTargetWindowID = look.options.preferredTargetWindowID,
                          .capturePolicy = look.options.capturePolicy,
                          .allowSyntheticFocusRecovery = look.options.allowSyntheticFocusRecovery,
                          .allowSparseReadinessRetries = isFresh});

  enterPhase(look, Phase::responseBuild);
  auto screenshot = screenshotContent(std::move(captured.screenshotData), captured.screenshotErrorDescription,
                                      diagnostics.screenshotOutcome);
  SerializableAppState state{captured.tree, captured.tree->serializeForAppState()};
  if (state.text.empty()) state = services_.roots.recoverEmptySerializedAppState(look.subject.resolved.pid, captured.tree);
  diagnostics.axRecovery = state.recovery;
  diagnostics.axNodeCount = static_cast<int>(state.tree->allItems().size());
  diagnostics.axOutputLineCount = StateTreeQuality::lineCount(*state.tree);
  if (state.text.empty()) {
    diagnostics.axOutcome = ArtifactOutcome::empty;
    diagnostics.axFailureStage = "tree_serialization";
    diagnostics.axErrorCode = "empty_tree";
    services_.session.clearState();
    look.content.push_back(ToolResultContent::text(emptyTreeFailure(look.subject.appQuery)));
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
    if (hasMinimalIndices) look.content.push_back(ToolResultContent::text(minimalIndicesWarning(look.subject.appQuery)));
    enterPhase(look, Phase::sessionSetup);
    services_.stateSession.install(look.subject, state.tree,
                                   {captured.targetWindowID, captured.targetWindowBounds, captured.scaledScreenSize});
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
  const auto state = services_.fallback.fallbackGetAppState(look.subject.resolved.pid, look.subject.appQuery, render, look.content);
  diagnostics.screenshotOutcome = state.screenshotOutcome;
  diagnostics.axOutcome = state.axOutcome;
  diagnostics.axFailureStage = state.axFailureStage;
  diagnostics.axErrorCode = state.axErrorCode;
  diagnostics.axNodeCount = state.axNodeCount;
  diagnostics.axOutputLineCount = state.axOutputLineCount;
  diagnostics.axRecovery = state.axRecovery;
  if (state.tree) {
    services_.stateSession.install(look.subject, state.tree,
                                   {state.targetWindowID, state.targetWindowBounds, state.screenshotPixelSize});
  } else {
    services_.session.clearState();
  }
}

void AppStateReader::conclude(Look& look) {
  auto& diagnostics = look.diagnostics;
  enterPhase(look, diagnostics.currentPhase);
  if (look.content.empty()) {
    diagnostics.outcome = GetAppStateCaptureDiagnostics::Outcome::empty;
    look.content.push_back(ToolResultContent::text("App state captured for: " + look.subject.appQuery +
                                                   " (no AX data or screenshot available)"));
  } else {
    diagnostics.concludeOutcome();
  }
  diagnostics.responseBlockCount = static_cast<int>(look.content.size());
  diagnostics.emit(services_.scheduler.now());
}

AppStateDescription AppStateReader::description(const Look& look, const UIElementTree& tree, std::string treeText) {
  const AXElement observed = services_.stateSession.observedFocusedElement(look.subject.resolved.pid);
  return describeAppState(look.subject, tree, std::move(treeText), observed, reader_);
}

AppStateDescription describeAppState(const StateSubject& subject, const UIElementTree& tree, std::string treeText,
                                     const AXElement& observedFocusedElement, const LiveElementReader& reader) {
  return {.treeText = std::move(treeText),
          .pid = subject.resolved.pid,
          .bundleID = subject.resolved.bundleID,
          .appName = subject.appName,
          .windowTitle = appStateWindowTitle(tree, subject.resolved.bundleID),
          .appSpecificInstructions = std::nullopt,
          .focusedElementDescription = modelFocusedElementDescription(
              subject.resolved.pid, tree, subject.preActionFocusedElement, observedFocusedElement, reader),
          .selectedText = tree.selectedElementText(),
          .selectedElementsDescription = tree.selectedElementsDescription()};
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

}  // namespace tavik
