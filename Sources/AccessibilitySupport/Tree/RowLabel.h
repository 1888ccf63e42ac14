#pragma once

#include <optional>
#include <string>
#include <vector>

#include "AccessibilitySupport/Tree/UIElementTreeItem.h"

namespace tavik {

/// A row of a table often holds ten cells that say one thing. Where nothing below a
/// row can be operated by itself, its text stands for all of it.

/// True when nothing in the subtree can be operated, typed into or followed.
bool isSelectableRowLabelSubtree(const UIElementTreeItem& item);
/// What the item and all below it say, trimmed, in order.
std::vector<std::string> selectableRowTextFragments(const UIElementTreeItem& from);

/// The text of the children, if all of them are label subtrees and say anything.
std::optional<std::string> labelOfRowChildren(const UIElementTreeItem& row);

}  // namespace tavik
