#include "ComputerUseToolRuntime/Actions/ClickAction.h"

#include <algorithm>
#include <vector>

#include "AccessibilitySupport/Access/AXActions.h"
#include "AccessibilitySupport/Access/AXAttributes.h"
#include "ComputerUseContracts/ToolError.h"

namespace tavik {

namespace {

constexpr auto afterScrollingIntoView = milliseconds(50);
constexpr auto menuOpeningTime = milliseconds(450);
constexpr auto menuDismissalTime = milliseconds(250);

constexpr const char* noAccessibleClick =
    "This element offers no accessibility action for that click, and synthesized clicks are not available in this "
    "version of Tavik Computer Use. Choose an element that can be pressed, or re-query get_app_state and try another "
    "way.";

bool prefersPressForPrimaryClick(const std::optional<std::string>& role) {
  static const std::set<std::string> roles = {"AXButton",      "AXCheckBox",   "AXRadioButton",
                                              "AXPopUpButton", "AXMenuButton", "AXDisclosureTriangle"};
  return role && roles.contains(*role);
}

bool isTrue(const std::optional<AXValue>& value) {
  const bool* flag = value ? value->get<bool>() : nullptr;
  return flag && *flag;
}

}  // namespace

ToolResult ClickAction::perform(const AXElement& element, const ClickParams& params) {
  const auto role = roleName(element);
  const bool isMenuItem = role == "AXMenuItem";
  scrollIntoView(element);

  const bool isLeft = params.mouseButton != 1 && params.mouseButton != 2;
  if (params.mouseButton == 1) {
    if (showMenu(element)) return ToolResult::text("Action completed successfully.");
  } else if (isLeft && params.clickCount <= 1) {
    if (performPrimaryLeftClick(element, role)) {
      if (isMenuItem) scheduler_.sleep(menuDismissalTime);
      return ToolResult::text("Action completed successfully.");
    }
  }
  if (isMenuItem) throw ToolError::mouseActionNotSupportedForMenuItems();
  throw ToolError::actionRejected(noAccessibleClick);
}

void ClickAction::scrollIntoView(const AXElement& element) {
  const auto names = supportedActionNames(element);
  if (names && !names->contains(AXActions::scrollToVisible)) return;
  if (access_.port().performAction(element, AXActions::scrollToVisible) != AXError::success) return;
  scheduler_.sleep(afterScrollingIntoView);
}

bool ClickAction::showMenu(const AXElement& element) {
  const auto names = supportedActionNames(element);
  if (names && !names->contains(AXActions::showMenu)) return false;
  return access_.port().performAction(element, AXActions::showMenu) == AXError::success;
}

bool ClickAction::performPrimaryLeftClick(const AXElement& element, const std::optional<std::string>& role) {
  std::vector<std::string> actions = {AXActions::press, AXActions::pick};
  if (!prefersPressForPrimaryClick(role)) std::reverse(actions.begin(), actions.end());
  for (const std::string& action : actions) {
    const auto names = supportedActionNames(element);
    if (names && !names->contains(action)) continue;
    if (access_.port().performAction(element, action) != AXError::success) continue;
    if (role != "AXMenuBarItem") return true;
    scheduler_.sleep(menuOpeningTime);
    if (menuBarItemHasActiveMenu(element)) return true;
  }
  return false;
}

bool ClickAction::menuBarItemHasActiveMenu(const AXElement& element) {
  auto shown = access_.copyAttributeValueOptional(element, "AXShownMenuUIElement");
  if (shown && shown->get<AXElement>()) return true;
  auto children = access_.copyAttributeValueOptional(element, AXAttributes::children);
  const auto* array = children ? children->get<AXArray>() : nullptr;
  if (!array) return false;
  const bool hasMenu = std::any_of(array->begin(), array->end(), [&](const AXValue& child) {
    const auto* childElement = child.get<AXElement>();
    return childElement && roleName(*childElement) == "AXMenu";
  });
  if (!hasMenu) return false;
  auto focused = access_.copyAttributeValueOptional(element, AXAttributes::focused);
  if (focused && focused->get<bool>()) return isTrue(focused);
  return isTrue(access_.copyAttributeValueOptional(element, AXAttributes::selected));
}

std::optional<std::string> ClickAction::roleName(const AXElement& element) {
  auto value = access_.copyAttributeValueOptional(element, AXAttributes::role);
  const auto* role = value ? value->get<std::string>() : nullptr;
  return role ? std::optional(*role) : std::nullopt;
}

std::optional<std::set<std::string>> ClickAction::supportedActionNames(const AXElement& element) {
  auto names = access_.port().copyActionNames(element);
  if (!names.ok()) return std::nullopt;
  return std::set<std::string>(names.value.begin(), names.value.end());
}

}  // namespace tavik
