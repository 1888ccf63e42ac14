#pragma once

#include <string>
#include <vector>

/// The names of the attributes that the system reads and writes.
namespace tavik::AXAttributes {

inline const std::string role = "AXRole";
inline const std::string roleDescription = "AXRoleDescription";
inline const std::string title = "AXTitle";
inline const std::string value = "AXValue";
inline const std::string description = "AXDescription";
inline const std::string placeholderValue = "AXPlaceholderValue";
inline const std::string identifier = "AXIdentifier";
inline const std::string subrole = "AXSubrole";
inline const std::string frame = "AXFrame";
inline const std::string children = "AXChildren";
inline const std::string focusedUIElement = "AXFocusedUIElement";
inline const std::string selectedTextRange = "AXSelectedTextRange";
inline const std::string selectedChildren = "AXSelectedChildren";
inline const std::string selectedTextMarkerRange = "AXSelectedTextMarkerRange";
inline const std::string titleUIElement = "AXTitleUIElement";
inline const std::string enabled = "AXEnabled";
inline const std::string selected = "AXSelected";
inline const std::string focused = "AXFocused";
inline const std::string window = "AXWindow";
inline const std::string parent = "AXParent";
inline const std::string position = "AXPosition";
inline const std::string size = "AXSize";
inline const std::string help = "AXHelp";
inline const std::string url = "AXURL";
inline const std::string makeScreenRectVisible = "AXMakeScreenRectVisible";
inline const std::string visibleChildren = "AXVisibleChildren";
inline const std::string visibleCharacterRange = "AXVisibleCharacterRange";
inline const std::string valueDescription = "AXValueDescription";

/// What the tree build reads of an element in one call, in this order.
inline const std::vector<std::string> batchAttributes = {
    role,    roleDescription, title,   value, description, placeholderValue, identifier, subrole, frame,
    enabled, selected,        focused, help,  url,
};

}  // namespace tavik::AXAttributes
