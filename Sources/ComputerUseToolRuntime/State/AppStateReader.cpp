#include "ComputerUseToolRuntime/State/AppStateReader.h"

#include <algorithm>

#include "AccessibilitySupport/Access/AXAttributes.h"
#include "Base/Text/Text.h"
#include "ComputerUseToolRuntime/State/AppStateEnvelope.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {

constexpr const char* noFocusedElement = "focusedElementDescriptionNotFound";
constexpr const char* noTreeText =
    "': AX nodes were discovered, but no usable accessibility_tree lines could be produced after application-root and "
    "minimal-index recovery. The screenshot may be attached for diagnostics, but no element_index session was "
    "created. Retry get_app_state before sending element actions.";

std::optional<std::string> focusedElementLine(const UIElementTree& tree) {
  std::string description = tree.focusedElementDescription();
  if (description.empty() || description == noFocusedElement) return std::nullopt;
  return description;
}

/// What the model is told in place of a picture.
std::string screenshotStatus(const std::string& reason) {
  if (text::hasPrefixIgnoringCase(reason, "Screenshot skipped:")) return reason;
  return "Screenshot capture failed: " + reason;
}

std::optional<std::string> nonEmptyTitle(const UIElementTree::Item& item) {
  if (item.role != "AXWindow" || !item.title || item.title->empty()) return std::nullopt;
  return item.title;
}

std::string printed(const AXValue& value) {
  const auto* text = value.get<std::string>();
  return text ? *text : "";
}

}  // namespace

std::optional<std::string> appStateWindowTitle(const UIElementTree& tree) {
  if (auto title = nonEmptyTitle(*tree.rootItem)) return title;
  for (const auto& child : tree.rootItem->childItems) {
    if (child->role == "AXWindow") return nonEmptyTitle(*child);
  }
  return std::nullopt;
}

AppStateReader::AppStateReader(AppResolver& resolver, ApplicationSnapshotCapture& capture, AXWrapper& access,
                               WorkspacePort& workspace, ToolSession& session, Scheduler& scheduler)
    : resolver_(resolver),
      capture_(capture),
      access_(access),
      workspace_(workspace),
      session_(session),
      scheduler_(scheduler) {}

ToolResult AppStateReader::getAppState(const std::string& app, bool allowAppLaunch) {
  const MonotonicTime startedAt = scheduler_.now();
  const ResolvedApp resolved = resolver_.resolveAppPIDForGetAppState(app, allowAppLaunch);
  const auto running = workspace_.runningApplication(resolved.pid);
  const std::string appName = running && running->localizedName ? *running->localizedName : app;

  const auto readScope = access_.port().beginReadScope(access_.port().createApplication(resolved.pid));
  auto captured = capture_.capture(resolved.pid, {.toolName = "get_app_state"});
  const std::string treeText = captured.tree->serializeForAppState();

  ToolResult result;
  if (treeText.empty()) {
    session_.clearState();
    result.content.push_back(
        ToolResultContent::text("Accessibility tree serialization failed for '" + app + noTreeText));
  } else {
    AppStateDescription state{.treeText = treeText,
                              .pid = resolved.pid,
                              .bundleID = resolved.bundleID,
                              .appName = appName,
                              .windowTitle = appStateWindowTitle(*captured.tree),
                              .appSpecificInstructions = std::nullopt,
                              .focusedElementDescription = focusedElementLine(*captured.tree),
                              .selectedText = captured.tree->selectedElementText(),
                              .selectedElementsDescription = captured.tree->selectedElementsDescription()};
    result.content.push_back(ToolResultContent::text(renderAppStateEnvelope(state)));
    session_.install(captured.tree, sessionContext(app, resolved, appName, captured));
  }
  if (captured.screenshotData) {
    result.content.push_back(ToolResultContent::image(std::move(*captured.screenshotData), "image/png"));
  } else if (captured.screenshotErrorDescription) {
    result.content.push_back(ToolResultContent::text(screenshotStatus(*captured.screenshotErrorDescription)));
  }
  TavikComputerUseLogger::info(LogCategory::session, "state_capture_finished",
                               {{"appBundleID", resolved.bundleID},
                                {"targetPid", resolved.pid},
                                {"durationMs", roundedMilliseconds(scheduler_.now() - startedAt)},
                                {"outcome", treeText.empty() ? "partial" : "success"},
                                {"axNodeCount", captured.tree->allItems().size()},
                                {"responseBlockCount", result.content.size()}});
  return result;
}

AppStateSnapshotContext AppStateReader::sessionContext(const std::string& app, const ResolvedApp& resolved,
                                                       const std::string& appName,
                                                       const ApplicationSnapshotCapture::CaptureResult& captured) {
  const auto frontmost = workspace_.frontmostApplication();
  return {.appQuery = app,
          .bundleIdentifier = resolved.bundleID,
          .pid = resolved.pid,
          .appName = appName,
          .frontmostPID = frontmost ? std::optional(frontmost->pid) : std::nullopt,
          .focusedElementDescription = focusedElementDescription(resolved.pid),
          .targetWindowID = captured.targetWindowID,
          .targetWindowBounds = captured.targetWindowBounds,
          .screenshotPixelSize = captured.scaledScreenSize,
          .capturedAt = scheduler_.wallTime()};
}

std::optional<std::string> AppStateReader::focusedElementDescription(std::int32_t pid) {
  auto answer = access_.copyAttributeValueOptional(access_.port().createApplication(pid), AXAttributes::focusedUIElement);
  const auto* focused = answer ? answer->get<AXElement>() : nullptr;
  if (!focused) return std::nullopt;
  std::vector<std::string> pieces;
  for (const std::string& attribute : {AXAttributes::role, AXAttributes::subrole, AXAttributes::title,
                                      AXAttributes::description, AXAttributes::identifier}) {
    if (auto value = access_.copyAttributeValueOptional(*focused, attribute)) {
      pieces.push_back(attribute + "=" + printed(*value));
    }
  }
  if (pieces.empty()) return std::nullopt;
  return text::joined(pieces, "|");
}

}  // namespace tavik
