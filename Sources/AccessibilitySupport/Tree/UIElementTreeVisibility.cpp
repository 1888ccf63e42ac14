#include "AccessibilitySupport/Tree/UIElementTreeVisibility.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace tavik {

namespace {

constexpr std::array<std::string_view, 4> excludedRoles = {"Debug", "Services", "Host", "Window"};

bool hasExcludedRole(const UIElementTreeItem& item) {
  return item.role && std::ranges::find(excludedRoles, *item.role) != excludedRoles.end();
}

bool isSystemMenu(const UIElementTreeItem& item) {
  return item.role == "AXMenuBarItem" && item.title == "Apple";
}

}  // namespace

bool isListColumn(const UIElementTreeItem& item) {
  return item.role == "AXColumn" && item.identifier == "ListColumn";
}

bool isExcludedFromDebugForm(const UIElementTreeItem& item) {
  return hasExcludedRole(item) || isListColumn(item);
}

bool isExcludedFromAppState(const UIElementTreeItem& item) {
  return isExcludedFromDebugForm(item) || isSystemMenu(item);
}

bool isMenuBarTitle(const UIElementTreeItem& item) {
  if (item.role != "AXMenuBarItem") return false;
  const auto parent = item.parentItem();
  return parent && parent->role == "AXMenuBar";
}

}  // namespace tavik
