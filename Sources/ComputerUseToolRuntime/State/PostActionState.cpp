#include "ComputerUseToolRuntime/State/PostActionState.h"

#include <algorithm>
#include <utility>

#include "AccessibilitySupport/Access/AXActions.h"
#include "Base/Text/Text.h"
#include "ComputerUseContracts/ToolError.h"
#include "ComputerUseToolRuntime/Actions/ToolActionBracket.h"
#include "ComputerUseToolRuntime/State/AppStateEnvelope.h"
#include "ComputerUseToolRuntime/State/PostActionStateText.h"
#include "ComputerUseToolRuntime/State/ScreenshotContent.h"

namespace tavik {

namespace {

constexpr auto beforeSecondLook = milliseconds(450);
constexpr Duration leastDismissalInterval = milliseconds(500);

std::vector<ToolResultContent> withoutEnvelope(std::vector<ToolResultContent> content) {
  for (ToolResultContent& block : content) {
    if (block.isText()) block = ToolResultContent::text(stripAppStateEnvelope(block.text()));
  }
  return content;
}

std::string textContent(const std::vector<ToolResultContent>& content) {
  std::vector<std::string> texts;
  for (const ToolResultContent& block : content) {
    if (block.isText()) texts.push_back(block.text());
  }
  return text::joined(texts, "\n");
}

bool showsAMenu(const ComputerUseIPCAction& action) {
  const auto* secondary = action.get<PerformSecondaryActionParams>();
  if (!secondary || !secondary->action) return false;
  const std::string name = text::lowercased(text::trimmed(*secondary->action));
  return name == "show menu" || name == "showmenu";
}

bool pointsAtThings(const ComputerUseIPCAction& action) {
  return action.get<ClickParams>() || action.get<ScrollParams>() || action.get<DragParams>();
}

}  // namespace

std::optional<CapturePolicy> postActionCapturePolicy(const ComputerUseIPCAction& after, bool visualContextAvailable) {
  if (pointsAtThings(after) || showsAMenu(after)) return std::nullopt;
  if (after.get<PerformSecondaryActionParams>()) return CapturePolicy::axOnly;
  return visualContextAvailable ? std::nullopt : std::optional(CapturePolicy::axOnly);
}

bool postActionAllowsSyntheticFocusRecovery(const ComputerUseIPCAction& after) {
  return pointsAtThings(after) || showsAMenu(after);
}

bool returnedStateShouldKeepMenuBarMenuOpen(const UIElementTree& tree) {
  const auto root = tree.itemReadFrom();
  if (root->role == "AXMenu") return true;
  return root->role == "AXMenuBarItem" &&
         std::ranges::any_of(root->childItems, [](const auto& child) { return child->role == "AXMenu"; });
}

PostActionState::PostActionState(const Services& services)
    : services_(services),
      reader_(services.access),
      settleAwaiter_(AXUISettleAwaiter::postActionProfile(services.access.port(), services.scheduler)) {}

ToolResult PostActionState::capture(const std::string& app, const ComputerUseIPCAction& action) {
  Target resolved = target(app);
  if (resolved.pid) settleAwaiter_.waitForSettle(*resolved.pid);

  // Taken also when a menu takes its place, so that the queue stays paired with actions.
  std::optional<FocusedElementSnapshot> preActionFocusedElement;
  if (resolved.bundleID) {
    preActionFocusedElement = services_.queues.dequeuePreActionFocusedElement(*resolved.bundleID);
    if (auto pending = services_.queues.dequeuePendingMenu(*resolved.bundleID, resolved.pid)) {
      return renderPendingMenu(*std::move(pending));
    }
  }
  const auto windowID = preferredTargetWindowID(resolved.pid);
  const auto policy = postActionCapturePolicy(action, hasReusableVisualContext(app, resolved.pid, windowID));
  ToolResult first = look(app, action, preActionFocusedElement, windowID, policy);
  if (!PostActionStateText::shouldRetry(textContent(first.content), action)) return first;

  services_.scheduler.sleep(beforeSecondLook);
  try {
    resolved = target(app);
    const auto windowNow = preferredTargetWindowID(resolved.pid);
    if (resolved.pid) settleAwaiter_.waitForSettle(*resolved.pid);
    return look(app, action, preActionFocusedElement, windowNow ? windowNow : windowID, CapturePolicy::axOnly);
  } catch (const CancellationError&) {
    throw;
  } catch (const std::exception&) {
    return first;
  }
}

PostActionState::Target PostActionState::target(const std::string& app) {
  try {
    const ResolvedApp resolved = services_.resolver.resolveAppPID(app);
    return {resolved.bundleID, resolved.pid};
  } catch (const ToolError&) {
    const auto session = services_.session.currentSession();
    return session ? Target{session->bundleIdentifier, session->pid} : Target{};
  }
}

ToolResult PostActionState::look(const std::string& app, const ComputerUseIPCAction& action,
                                 std::optional<FocusedElementSnapshot> preActionFocusedElement,
                                 std::optional<std::uint32_t> windowID, std::optional<CapturePolicy> policy) {
  ToolResult state = services_.reader.getAppState(
      app, {.allowAppLaunch = false,
            .preActionFocusedElement = std::move(preActionFocusedElement),
            .preferredTargetWindowID = windowID,
            .capturePolicy = policy,
            .allowSyntheticFocusRecovery = postActionAllowsSyntheticFocusRecovery(action)});
  state.content = withoutEnvelope(std::move(state.content));
  return state;
}

ToolResult PostActionState::renderPendingMenu(PendingMenuBarPostActionState pending) {
  auto captured = services_.snapshotCapture.capture(
      pending.pid,
      {.preferredTargetWindowID = preferredTargetWindowID(pending.pid), .toolName = "post-action-menu"});
  const auto running = services_.workspace.runningApplication(pending.pid);
  const StateSubject subject{.appQuery = pending.appQuery,
                             .resolved = {.pid = pending.pid, .bundleID = pending.bundleIdentifier},
                             .appName = running ? running->localizedName.value_or(pending.appQuery) : pending.appQuery};
  ArtifactOutcome outcome;
  auto screenshot = screenshotContent(std::move(captured.screenshotData), captured.screenshotErrorDescription, outcome);
  captured.readScope.reset();
  const std::string treeText = pending.tree->serializeForAppState();
  if (treeText.empty() && outcome != ArtifactOutcome::success) {
    return ToolResult::text("App state captured for: " + pending.appQuery + " (no AX data or screenshot available)");
  }
  ToolResult result;
  if (!treeText.empty()) {
    const AXElement observed = services_.stateSession.observedFocusedElement(pending.pid);
    const auto description = describeAppState(subject, *pending.tree, treeText, observed, reader_);
    result.content.push_back(ToolResultContent::text(stripAppStateEnvelope(renderAppStateEnvelope(description))));
  }
  if (screenshot) result.content.push_back(*std::move(screenshot));
  services_.stateSession.install(subject, std::move(pending.tree),
                                 {captured.targetWindowID, captured.targetWindowBounds, captured.scaledScreenSize});
  return result;
}

/// The window of the last state, while it is the application's main one.
std::optional<std::uint32_t> PostActionState::preferredTargetWindowID(std::optional<std::int32_t> pid) {
  const auto session = services_.session.currentSession();
  if (!session || !session->targetWindowID || !pid) return std::nullopt;
  const auto preferred = services_.snapshotCapture.preferredTargetWindowSnapshot(*pid);
  if (preferred && preferred->windowID != *session->targetWindowID) return std::nullopt;
  WindowServerWindowSnapshot windows(services_.windowServer);
  const auto current = targetWindowSnapshot(*session->targetWindowID, *pid, windows);
  return current && current->windowID == *session->targetWindowID ? session->targetWindowID : std::nullopt;
}

bool PostActionState::hasReusableVisualContext(const std::string& appQuery, std::optional<std::int32_t> pid,
                                               std::optional<std::uint32_t> preferredTargetWindowID) {
  const auto session = services_.session.currentSession();
  if (!session || !session->targetWindowID || session->targetWindowID != preferredTargetWindowID) return false;
  if (!session->targetWindowBounds || !session->screenshotPixelSize) return false;
  const Size& size = session->targetWindowBounds->size;
  if (size.width <= 0 || size.height <= 0) return false;
  return session->appQuery == appQuery && (!pid || session->pid == *pid);
}

void PostActionState::dismissVisibleMenuBarIfNeeded(const std::string& app, const ComputerUseIPCAction& action) {
  ResolvedApp resolved;
  try {
    resolved = services_.resolver.resolveAppPID(app);
  } catch (const ToolError&) {
    return;
  }
  const auto tree = services_.session.currentTree();
  if (tree && returnedStateShouldKeepMenuBarMenuOpen(*tree)) return;
  const auto open = services_.roots.activeMenuBarItems(services_.access.port().createApplication(resolved.pid));
  if (open.empty()) return;
  const Duration echo = std::max(seconds(action.toolGeneratedEventSuppressionInterval()), leastDismissalInterval);
  {
    const ToolActionBracket bracket(services_.userInteractionMonitor, services_.recording, resolved.pid, echo);
    dismissActiveMenuBarMenu(open);
  }
  services_.userInteractionMonitor.clearIntervention(resolved.bundleID);
}

bool PostActionState::dismissActiveMenuBarMenu(const std::vector<AXElement>& menuBarItems) {
  AccessibilityPort& port = services_.access.port();
  bool hasClosed = false;
  for (const AXElement& item : menuBarItems) {
    if (const AXElement menu = reader_.element(item, "AXShownMenuUIElement")) {
      hasClosed |= port.performAction(menu, AXActions::cancel) == AXError::success;
    }
    hasClosed |= port.performAction(item, AXActions::cancel) == AXError::success;
  }
  return hasClosed;
}

}  // namespace tavik
