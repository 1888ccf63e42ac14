#include "ComputerUseToolRuntime/Actions/SecondaryAction.h"

#include "AccessibilitySupport/Access/AXActions.h"
#include "AccessibilitySupport/Access/AXAttributes.h"
#include "ComputerUseToolRuntime/Actions/ActionNames.h"

namespace tavik {

namespace {

constexpr auto beforeConfirmation = milliseconds(120);
constexpr auto afterPress = milliseconds(160);
constexpr auto afterClick = milliseconds(220);

bool isWindow(const std::optional<std::string>& role) { return role == "AXWindow" || role == "AXStandardWindow"; }

/// Applications report these for actions that did run.
bool countsAsDelivered(AXErrorCode code) {
  return code == AXError::success || code == AXError::cannotComplete || code == AXError::attributeUnsupported;
}

}  // namespace

bool shouldRejectWindowSystemSecondaryAction(const std::string& rawAction, const std::optional<std::string>& role,
                                             const std::optional<std::string>& parentRole) {
  if (rawAction == AXActions::raise) return true;
  if (rawAction != AXActions::zoomWindow) return false;
  return isWindow(role) || (role == "AXButton" && isWindow(parentRole));
}

bool secondaryActionNeedsMenuItemPickConfirmation(const std::optional<std::string>& role,
                                                  const std::string& requestedAction, const std::string& rawAction) {
  return role == "AXMenuItem" && requestedAction == "Pick" && rawAction == AXActions::pick;
}

bool menuItemPickStillNeedsConfirmation(const std::optional<std::string>& menuItemRole,
                                        const std::optional<std::string>& focusedRole) {
  return menuItemRole == "AXMenuItem" && (focusedRole == "AXMenuItem" || focusedRole == "AXMenu");
}

/// A menu item that was picked.
struct SecondaryAction::Pick {
  AXElement element;
  std::int32_t pid = 0;
  std::optional<Point> fallbackPoint;
};

ToolResult SecondaryAction::perform(std::int32_t pid, const PerformSecondaryActionParams& params) {
  const AXElement element = services_.elements.findElement(params.elementIndex)->axElement;
  if (!params.action || params.action->empty()) throw ToolError::missingRequiredArgument("action");
  const std::string& action = *params.action;
  const std::string raw = rawAction(element, action, params.elementIndex);
  refuseWindowSystemAction(element, raw,
                           ToolError::invalidSecondaryAction(action, std::to_string(params.elementIndex)));
  const auto center = reader_.frameCenter(element);
  if (center) services_.cursor.prepareForInteraction(*center);

  const auto previousFrontmost = services_.workspace.frontmostApplication();
  const bool needsConfirmation =
      secondaryActionNeedsMenuItemPickConfirmation(reader_.roleName(element), action, raw);
  const Pick pick{element, pid, needsConfirmation ? reader_.frameCenter(element) : std::nullopt};
  services_.scheduler.checkCancellation();
  const AXErrorCode code = performOnMainThread(element, raw);
  const bool isDelivered = countsAsDelivered(code);
  const bool isConfirmed = needsConfirmation && confirmMenuItemPickIfNeeded(pick, /*force=*/!isDelivered);
  restoreFrontmostIfNeeded(previousFrontmost, pid, action);
  if (!isDelivered && !isConfirmed) throw ToolError::axActionFailed(raw, code);
  return ToolResult::text("Action completed successfully.");
}

std::string SecondaryAction::rawAction(const AXElement& element, const std::string& action,
                                       std::int64_t elementIndex) {
  const auto role = reader_.roleName(element);
  AccessibilityPort& port = services_.access.port();
  const auto names = port.copyActionNames(element);
  const auto raw = names.ok() ? resolveAvailableRawActionName(action, names.value, element, role, port)
                              : implicitPublicRawSecondaryAction(action, role);
  if (!raw) throw ToolError::invalidSecondaryAction(action, std::to_string(elementIndex));
  return *raw;
}

void SecondaryAction::refuseWindowSystemAction(const AXElement& element, const std::string& rawAction,
                                               const ToolError& refusal) {
  const AXElement parent = reader_.element(element, AXAttributes::parent);
  const auto parentRole = parent ? reader_.roleName(parent) : std::nullopt;
  if (shouldRejectWindowSystemSecondaryAction(rawAction, reader_.roleName(element), parentRole)) throw refusal;
}

AXErrorCode SecondaryAction::performOnMainThread(const AXElement& element, const std::string& rawAction) {
  return services_.mainQueue.sync([&] { return services_.access.port().performAction(element, rawAction); });
}

bool SecondaryAction::confirmMenuItemPickIfNeeded(const Pick& pick, bool force) {
  pause(beforeConfirmation);
  if (!force && !menuItemPickStillNeedsConfirmation(pick.element, pick.pid)) return true;
  const AXErrorCode press = performOnMainThread(pick.element, AXActions::press);
  pause(afterPress);
  if (press == AXError::success && !menuItemPickStillNeedsConfirmation(pick.element, pick.pid)) return true;
  const auto point = pick.fallbackPoint ? pick.fallbackPoint : reader_.frameCenter(pick.element);
  if (!point || !clickMenuItem(pick, *point)) return false;
  pause(afterClick);
  return !menuItemPickStillNeedsConfirmation(pick.element, pick.pid);
}

bool SecondaryAction::menuItemPickStillNeedsConfirmation(const AXElement& element, std::int32_t pid) {
  const AXElement focused = reader_.focusedElement(pid);
  return tavik::menuItemPickStillNeedsConfirmation(reader_.roleName(element),
                                                   focused ? reader_.roleName(focused) : std::nullopt);
}

bool SecondaryAction::clickMenuItem(const Pick& pick, Point at) {
  MouseEventTarget target = services_.geometry.mouseEventTarget(pick.pid, at);
  try {
    services_.focusStealPreventer.withSuppression(
        pick.pid, [&] { target.click(at, MouseEventTarget::MouseButton::left, 1, /*includeMove=*/true); });
    return true;
  } catch (const MouseEventTarget::Error&) {
    return false;
  }
}

void SecondaryAction::pause(Duration duration) {
  try {
    services_.scheduler.sleep(duration);
  } catch (const CancellationError&) {
    // The action has been asked for; what follows brings it to its end.
  }
}

bool SecondaryAction::mayStayInFront(const std::string& requestedAction) { return requestedAction == "Show Menu"; }

void SecondaryAction::restoreFrontmostIfNeeded(const std::optional<RunningApplication>& previous,
                                               std::int32_t targetPID, const std::string& requestedAction) {
  if (mayStayInFront(requestedAction) || !previous || previous->pid == targetPID) return;
  if (!services_.workspace.runningApplication(previous->pid)) return;
  const auto frontmost = services_.workspace.frontmostApplication();
  if (!frontmost || frontmost->pid != targetPID) return;
  services_.mainQueue.sync([&] { services_.workspace.activate(previous->pid); });
}

}  // namespace tavik
