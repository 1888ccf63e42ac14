#include "ComputerUseToolRuntime/Actions/ClickAction.h"

#include <algorithm>
#include <set>
#include <vector>

#include "AccessibilitySupport/Access/AXActions.h"
#include "AccessibilitySupport/Access/AXAttributes.h"
#include "ComputerUseContracts/ToolError.h"
#include "ComputerUseToolRuntime/Actions/ElementSurroundings.h"

namespace tavik {

namespace {

using Role = std::optional<std::string>;

constexpr auto afterScrollingIntoView = milliseconds(50);
constexpr auto menuOpeningTime = milliseconds(450);
constexpr auto menuDismissalTime = milliseconds(250);

constexpr std::int64_t leftButton = 0;
constexpr std::int64_t rightButton = 1;
constexpr std::int64_t middleButton = 2;

constexpr const char* noClickPoint =
    "Could not determine a reliable click point for the element. Re-query the latest state with get_app_state before "
    "retrying.";

constexpr std::int64_t largestClickCount = 100;
constexpr const char* tooManyClicks = "click_count must be <= 100";

ToolResult success() { return ToolResult::text("Action completed successfully."); }

bool prefersPressForPrimaryClick(const Role& role) {
  static const std::set<std::string> roles = {"AXButton",      "AXCheckBox",   "AXRadioButton",
                                              "AXPopUpButton", "AXMenuButton", "AXDisclosureTriangle"};
  return role && roles.contains(*role);
}

bool prefersMovePrimedMultiClick(const Role& role) { return isRowOrCell(role); }

bool prefersMovePrimedPrimaryClick(const Role& role, bool insideWebContent) {
  const bool isTextInput = role == "AXTextArea" || role == "AXTextField";
  return isRowOrCell(role) || (isTextInput && insideWebContent);
}

bool prefersSelectableRowShortcut(const Role& role, bool insideWebContent) {
  return isRowOrCell(role) && !insideWebContent;
}

bool prefersAXActionForCoordinateClick(const Role& role) {
  return prefersPressForPrimaryClick(role) || isRowOrCell(role) || role == "AXMenuBarItem" || role == "AXMenuItem";
}

}  // namespace

/// One element that is clicked.
struct ClickAction::Target {
  std::int32_t pid = 0;
  std::shared_ptr<UIElementTree::Item> item;
  Role role;

  const AXElement& element() const { return item->axElement; }
  void refuseMenuItem() const {
    if (role == "AXMenuItem") throw ToolError::mouseActionNotSupportedForMenuItems();
  }
};

ToolResult ClickAction::perform(std::int32_t pid, const ClickParams& params) {
  if (params.clickCount > largestClickCount) throw ToolError::actionRejected(tooManyClicks);
  if (params.elementIndex) return clickElement(pid, params);
  if (params.x && params.y) return clickPoint(pid, params);
  throw ToolError::actionRejected("click requires either element_index or both x and y");
}

// By element

ToolResult ClickAction::clickElement(std::int32_t pid, const ClickParams& params) {
  Target target{pid, services_.elements.findElement(*params.elementIndex), {}};
  auto center = reader_.frameCenter(target.element());
  target.role = reader_.roleName(target.element());
  if (!target.role) target.role = target.item->role;

  services_.scheduler.checkCancellation();
  if (performIfSupported(target.element(), AXActions::scrollToVisible)) {
    services_.scheduler.sleep(afterScrollingIntoView);
    center = reader_.frameCenter(target.element());
  }
  if (center) services_.cursor.prepareForInteraction(*center);
  services_.scheduler.checkCancellation();

  if (params.mouseButton == rightButton) {
    rightClick(target);
  } else if (params.mouseButton == middleButton) {
    middleClick(target);
  } else if (params.mouseButton != leftButton || params.clickCount >= 2) {
    multiClick(target, std::max<std::int64_t>(params.clickCount, 1));
  } else {
    primaryClick(target);
  }
  services_.cursor.showClick(params.clickCount);
  return success();
}

void ClickAction::rightClick(const Target& target) {
  if (performIfSupported(target.element(), AXActions::showMenu)) return;
  target.refuseMenuItem();
  services_.geometry.rejectBackgroundRightClickIfNeeded(target.pid);
  performMouseClick(target.pid, clickPoint(target.element()), Button::right, 1, /*includeMove=*/false);
}

void ClickAction::middleClick(const Target& target) {
  target.refuseMenuItem();
  performMouseClick(target.pid, clickPoint(target.element()), Button::middle, 1, /*includeMove=*/false);
}

void ClickAction::multiClick(const Target& target, std::int64_t clickCount) {
  target.refuseMenuItem();
  const Point point = clickPoint(target.element());
  performIfSupported(target.element(), AXActions::scrollToVisible);
  performMouseClick(target.pid, point, Button::left, clickCount, prefersMovePrimedMultiClick(target.role));
}

void ClickAction::primaryClick(const Target& target) {
  const bool isMenuBarItem = target.role == "AXMenuBarItem";
  if (isMenuBarItem && services_.backgroundMenus.enqueueIfAvailable(target.element(), target.pid)) return;

  const bool insideWebContent = isInsideWebContent(*target.item, reader_);
  if (prefersMovePrimedPrimaryClick(target.role, insideWebContent)) {
    const bool isSelectable = prefersSelectableRowShortcut(target.role, insideWebContent);
    if (!(isSelectable && selectElementIfSupported(target.element()))) {
      performMouseClick(target.pid, clickPoint(target.element()), Button::left, 1, /*includeMove=*/true);
    }
  } else if (!performPrimaryLeftClick(target.element(), target.role)) {
    target.refuseMenuItem();
    performMouseClick(target.pid, clickPoint(target.element()), Button::left, 1, /*includeMove=*/false,
                      /*allowUnboundSystemMenuBarPoint=*/isMenuBarItem);
  }
  if (target.role == "AXMenuItem") services_.scheduler.sleep(menuDismissalTime);
}

// By coordinates

ToolResult ClickAction::clickPoint(std::int32_t pid, const ClickParams& params) {
  services_.geometry.requireFreshScreenshotGeometry(pid);
  const Point point = services_.geometry.screenPointFromScreenshotCoordinates({*params.x, *params.y});
  services_.cursor.prepareForInteraction(point);

  AccessibilityPort& port = services_.access.port();
  const auto hit = port.copyElementAtPosition(port.createApplication(pid), point);
  services_.scheduler.checkCancellation();
  const bool isSingle = params.clickCount == 1;
  const bool isRight = params.mouseButton == rightButton;
  if (hit.ok() && isSingle && params.mouseButton == leftButton) {
    if (!primaryClickHit(pid, hit.value)) performMouseClick(pid, point, Button::left, 1, /*includeMove=*/false);
  } else if (hit.ok() && isSingle && isRight) {
    if (!rightClickHit(hit.value)) {
      services_.geometry.rejectBackgroundRightClickIfNeeded(pid);
      performMouseClick(pid, point, Button::right, 1, /*includeMove=*/false);
    }
  } else {
    if (hit.ok() && reader_.roleName(hit.value) == "AXMenuItem") {
      throw ToolError::mouseActionNotSupportedForMenuItems();
    }
    if (isRight) services_.geometry.rejectBackgroundRightClickIfNeeded(pid);
    const Button button = isRight                               ? Button::right
                          : params.mouseButton == middleButton ? Button::middle
                                                                : Button::left;
    performMouseClick(pid, point, button, std::max<std::int64_t>(params.clickCount, 1), /*includeMove=*/false);
  }
  services_.cursor.showClick(params.clickCount);
  return success();
}

bool ClickAction::primaryClickHit(std::int32_t pid, const AXElement& hit) {
  const Role role = reader_.roleName(hit);
  if (role == "AXMenuBarItem" && services_.backgroundMenus.enqueueIfAvailable(hit, pid)) return true;
  if (!prefersAXActionForCoordinateClick(role)) return false;
  if (performPrimaryLeftClick(hit, role)) return true;
  if (role == "AXMenuItem") throw ToolError::mouseActionNotSupportedForMenuItems();
  return false;
}

bool ClickAction::rightClickHit(const AXElement& hit) {
  if (reader_.roleName(hit) == "AXMenuItem") throw ToolError::mouseActionNotSupportedForMenuItems();
  return performIfSupported(hit, AXActions::showMenu);
}

// Means

bool ClickAction::performPrimaryLeftClick(const AXElement& element, const Role& role) {
  std::vector<std::string> actions = {AXActions::press, AXActions::pick};
  if (!prefersPressForPrimaryClick(role)) std::reverse(actions.begin(), actions.end());
  for (const std::string& action : actions) {
    if (!performIfSupported(element, action)) continue;
    if (role != "AXMenuBarItem") return true;
    // Some answer success and open nothing.
    services_.scheduler.sleep(menuOpeningTime);
    if (menuBarItemHasActiveMenu(element)) return true;
  }
  return false;
}

bool ClickAction::menuBarItemHasActiveMenu(const AXElement& element) {
  if (reader_.element(element, "AXShownMenuUIElement")) return true;
  const bool hasMenu = std::ranges::any_of(reader_.elements(element, AXAttributes::children), [&](const auto& child) {
    return reader_.roleName(child) == "AXMenu";
  });
  if (!hasMenu) return false;
  if (const auto focused = reader_.boolean(element, AXAttributes::focused)) return *focused;
  return reader_.boolean(element, AXAttributes::selected).value_or(false);
}

bool ClickAction::selectElementIfSupported(const AXElement& element) {
  const auto isSelected = reader_.boolean(element, AXAttributes::selected);
  if (!isSelected) return false;
  if (*isSelected) return true;
  return services_.access.port().setAttributeValue(element, AXAttributes::selected, true) == AXError::success;
}

bool ClickAction::performIfSupported(const AXElement& element, const std::string& action) {
  const auto names = reader_.supportedActionNames(element);
  if (names && !names->contains(action)) return false;
  return services_.access.port().performAction(element, action) == AXError::success;
}

Point ClickAction::clickPoint(const AXElement& element) {
  auto point = elementScreenPosition(element, services_.access, services_.scheduler);
  if (!point) point = reader_.frameCenter(element);
  if (!point) throw ToolError::actionRejected(noClickPoint);
  return *point;
}

void ClickAction::performMouseClick(std::int32_t pid, Point at, Button button, std::int64_t clickCount,
                                    bool includeMove, bool allowUnboundSystemMenuBarPoint) {
  if (!allowUnboundSystemMenuBarPoint) services_.geometry.requireBoundTarget(pid, at);
  MouseEventTarget target = services_.geometry.mouseEventTarget(pid, at);
  services_.scheduler.checkCancellation();
  services_.focusStealPreventer.withSuppression(
      pid, [&] { target.click(at, button, static_cast<int>(clickCount), includeMove); });
}

}  // namespace tavik
