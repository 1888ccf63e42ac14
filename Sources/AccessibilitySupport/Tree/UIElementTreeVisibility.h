#pragma once

#include "AccessibilitySupport/Tree/UIElementTreeItem.h"

namespace tavik {

/// Items that are never written down, together with all below them: containers of
/// the system itself, the invisible columns of list views, and the system menu.
bool isExcludedFromAppState(const UIElementTreeItem& item);

/// An item with an excluded role, or an invisible column.
bool isExcludedFromDebugForm(const UIElementTreeItem& item);

/// A column that a list view keeps for itself.
bool isListColumn(const UIElementTreeItem& item);

/// A title of the menu bar. What is below it is a closed menu.
bool isMenuBarTitle(const UIElementTreeItem& item);

}  // namespace tavik
