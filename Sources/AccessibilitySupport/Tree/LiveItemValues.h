#pragma once

#include <string>
#include <vector>

#include "AccessibilitySupport/Access/AXWrapper.h"
#include "AccessibilitySupport/Tree/UIElementTreeItem.h"

namespace tavik {

/// What an item holds of a live element that answered one batched read: `answers`
/// has an entry for each of `attributes`. An answer that is missing, or that cannot
/// be converted, leaves its field empty.
UIElementTreeItemValues itemValues(const std::vector<std::string>& attributes, AXWrapper::Values answers);

}  // namespace tavik
