#pragma once

#include <string>

/// The names of the notifications that applications send about their elements.
namespace tavik::AXNotifications {

inline const std::string uiElementDestroyed = "AXUIElementDestroyed";
inline const std::string focusedUIElementChanged = "AXFocusedUIElementChanged";
inline const std::string focusedWindowChanged = "AXFocusedWindowChanged";
inline const std::string mainWindowChanged = "AXMainWindowChanged";
inline const std::string windowMiniaturized = "AXWindowMiniaturized";
inline const std::string windowDeminiaturized = "AXWindowDeminiaturized";
inline const std::string windowCreated = "AXWindowCreated";
inline const std::string windowMoved = "AXWindowMoved";
inline const std::string windowResized = "AXWindowResized";
inline const std::string valueChanged = "AXValueChanged";
inline const std::string selectedTextChanged = "AXSelectedTextChanged";
inline const std::string layoutChanged = "AXLayoutChanged";
inline const std::string selectedChildrenChanged = "AXSelectedChildrenChanged";
inline const std::string selectedRowsChanged = "AXSelectedRowsChanged";
inline const std::string rowCountChanged = "AXRowCountChanged";
inline const std::string created = "AXCreated";
inline const std::string titleChanged = "AXTitleChanged";
inline const std::string resized = "AXResized";
inline const std::string moved = "AXMoved";
inline const std::string menuOpened = "AXMenuOpened";
inline const std::string menuClosed = "AXMenuClosed";

}  // namespace tavik::AXNotifications
