#include "ComputerUseToolRuntime/Actions/ActionNames.h"

#include <algorithm>
#include <set>

#include "AccessibilitySupport/Access/AXActions.h"

namespace tavik {

const std::map<std::string, std::string>& readableToRawAction() {
  static const std::map<std::string, std::string> table = {
      {"Press", AXActions::press},
      {"Pick", AXActions::pick},
      {"Increment", AXActions::increment},
      {"Decrement", AXActions::decrement},
      {"Confirm", AXActions::confirm},
      {"Cancel", AXActions::cancel},
      {"Delete", AXActions::delete_},
      {"Raise", AXActions::raise},
      {"Show Menu", AXActions::showMenu},
      {"Show Alternate UI", AXActions::showAlternateUI},
      {"Zoom Window", AXActions::zoomWindow},
      {"Scroll To Visible", AXActions::scrollToVisible},
      {"Scroll Left By Page", AXActions::scrollLeftByPage},
      {"Scroll Right By Page", AXActions::scrollRightByPage},
      {"Scroll Up By Page", AXActions::scrollUpByPage},
      {"Scroll Down By Page", AXActions::scrollDownByPage},
  };
  return table;
}

std::optional<std::string> readableActionName(const std::string& raw) {
  static const std::set<std::string> hidden = {AXActions::cancel, AXActions::raise, AXActions::showAlternateUI};
  static const std::map<std::string, std::string> names = {
      {AXActions::press, "Press"},         {AXActions::confirm, "Confirm"},
      {AXActions::showMenu, "Show Menu"},  {AXActions::increment, "Increment"},
      {AXActions::decrement, "Decrement"}, {AXActions::pick, "Pick"},
      {AXActions::scrollToVisible, "ScrollToVisible"},
  };
  if (hidden.contains(raw)) return std::nullopt;
  if (const auto known = names.find(raw); known != names.end()) return known->second;
  return raw.starts_with("AX") ? raw.substr(2) : raw;
}

std::optional<std::string> resolveAvailableRawActionName(const std::string& requested,
                                                         const std::vector<std::string>& availableActions,
                                                         const AXElement& element,
                                                         const std::optional<std::string>& role,
                                                         AccessibilityPort& port) {
  const auto row = readableToRawAction().find(requested);
  const bool isInTable = row != readableToRawAction().end();
  if (isInTable && std::ranges::find(availableActions, row->second) != availableActions.end()) return row->second;
  for (const std::string& action : availableActions) {
    const auto description = port.copyActionDescription(element, action);
    if (description.ok() && !description.value.empty() && description.value == requested) return action;
  }
  return isInTable ? implicitPublicRawSecondaryAction(requested, role) : std::nullopt;
}

bool actionsCanBeAttemptedWithoutActionNames(const std::string& rawAction, const std::optional<std::string>& role) {
  static const std::map<std::string, std::set<std::string>> rolesOfAction = {
      {AXActions::press, {"AXButton", "AXCheckBox", "AXRadioButton", "AXMenuItem", "AXPopUpButton"}},
      {AXActions::showMenu, {"AXPopUpButton", "AXMenuButton", "AXComboBox"}},
      {AXActions::increment, {"AXIncrementor", "AXStepper"}},
      {AXActions::decrement, {"AXIncrementor", "AXStepper"}},
      {AXActions::confirm, {"AXComboBox", "AXTextField"}},
  };
  const auto roles = rolesOfAction.find(rawAction);
  return role && roles != rolesOfAction.end() && roles->second.contains(*role);
}

std::optional<std::string> implicitPublicRawSecondaryAction(const std::string& requestedAction,
                                                            const std::optional<std::string>& role) {
  const auto row = readableToRawAction().find(requestedAction);
  if (row == readableToRawAction().end()) return std::nullopt;
  return actionsCanBeAttemptedWithoutActionNames(row->second, role) ? std::optional(row->second) : std::nullopt;
}

}  // namespace tavik
