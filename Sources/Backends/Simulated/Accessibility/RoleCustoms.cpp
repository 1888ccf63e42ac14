#include "Backends/Simulated/Accessibility/RoleCustoms.h"

#include <cctype>
#include <map>

namespace tavik {

namespace {

using Names = std::vector<std::string>;

const Names press = {"AXPress"};
const Names steps = {"AXIncrement", "AXDecrement"};
const Names opensMenu = {"AXPress", "AXShowMenu"};
const Names menuEntry = {"AXCancel", "AXPress"};
const Names textAttributes = {"AXValue", "AXSelectedText", "AXSelectedTextRange", "AXFocused",
                              "AXVisibleCharacterRange"};
const Names value = {"AXValue"};
const Names windowAttributes = {"AXMain", "AXFocused", "AXMinimized", "AXPosition", "AXSize"};

const std::map<std::string, RoleCustoms> customs = {
    {"AXApplication", {"application", {}, {"AXFrontmost", "AXHidden", "AXFocusedWindow"}}},
    {"AXButton", {"button", press, {}}},
    {"AXCell", {"cell", {}, {"AXSelected"}}},
    {"AXCheckBox", {"checkbox", press, {}}},
    {"AXComboBox", {"combo box", {"AXConfirm"}, textAttributes, true, true}},
    {"AXDisclosureTriangle", {"disclosure triangle", press, {}}},
    {"AXGroup", {"group", {}, {}}},
    {"AXImage", {"image", {}, {}}},
    {"AXIncrementor", {"stepper", steps, value}},
    {"AXLink", {"link", press, {}}},
    {"AXList", {"list", {}, {"AXSelectedChildren", "AXFocused"}, true, false, "AXSelectedChildren"}},
    {"AXMenu", {"menu", {"AXCancel"}, {}}},
    {"AXMenuBar", {"menu bar", {"AXCancel"}, {}}},
    {"AXMenuBarItem", {"menu bar item", menuEntry, {"AXSelected"}}},
    {"AXMenuButton", {"menu button", opensMenu, {}}},
    {"AXMenuItem", {"menu item", menuEntry, {"AXSelected"}}},
    {"AXOutline", {"outline", {}, {"AXSelectedRows", "AXFocused"}, true, false, "AXSelectedRows"}},
    {"AXPopUpButton", {"pop up button", opensMenu, {}}},
    {"AXRadioButton", {"radio button", press, {}}},
    {"AXRadioGroup", {"radio group", {}, {}}},
    {"AXRow", {"row", {}, {"AXSelected"}}},
    {"AXScrollArea", {"scroll area", {}, {}}},
    {"AXScrollBar", {"scroll bar", {}, value}},
    {"AXSheet", {"sheet", {}, {}}},
    {"AXSlider", {"slider", steps, value}},
    {"AXStaticText", {"text", {}, {}}},
    {"AXSystemWide", {"system wide", {}, {}}},
    {"AXTabGroup", {"tab group", {}, {}}},
    {"AXTable", {"table", {}, {"AXSelectedRows", "AXFocused"}, true, false, "AXSelectedRows"}},
    {"AXTextArea", {"text entry area", {}, textAttributes, true, true}},
    {"AXTextField", {"text field", {"AXConfirm"}, textAttributes, true, true}},
    {"AXToolbar", {"toolbar", {}, {}}},
    {"AXWebArea", {"HTML content", {}, {"AXFocused"}, true}},
    {"AXWindow", {"standard window", {"AXRaise"}, windowAttributes}},
};

}  // namespace

const RoleCustoms& roleCustoms(const std::string& role) {
  static const RoleCustoms none;
  const auto known = customs.find(role);
  return known == customs.end() ? none : known->second;
}

std::string customaryActionDescription(const std::string& action) {
  if (!action.starts_with("AX")) return action;
  std::string description;
  for (const char letter : action.substr(2)) {
    if (std::isupper(static_cast<unsigned char>(letter)) && !description.empty()) description += ' ';
    description += static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
  }
  return description;
}

}  // namespace tavik
