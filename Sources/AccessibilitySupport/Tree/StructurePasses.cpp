#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <string_view>

#include "AccessibilitySupport/Tree/ItemWalk.h"
#include "AccessibilitySupport/Tree/OptionalText.h"
#include "AccessibilitySupport/Tree/RowLabel.h"
#include "AccessibilitySupport/Tree/TransformationPasses.h"

// The passes that decide which items stay.

namespace tavik {

namespace {

using Item = UIElementTreeItem;
using Result = UIElementTreeTransformationResult;

constexpr std::array<std::string_view, 16> knownActions = {
    "AXPress",
    "AXConfirm",
    "AXRaise",
    "AXShowMenu",
    "AXIncrement",
    "AXDecrement",
    "AXCancel",
    "AXPick",
    "AXDelete",
    "AXZoomWindow",
    "AXShowAlternateUI",
    "AXScrollToVisible",
    "AXScrollLeftByPage",
    "AXScrollRightByPage",
    "AXScrollUpByPage",
    "AXScrollDownByPage",
};

bool isKnownAction(const std::string& action) {
  return std::ranges::find(knownActions, action) != knownActions.end();
}

Result foldSelectableRowChildren(const std::shared_ptr<Item>& row) {
  if (hasText(row->title) || hasText(row->value) || hasText(row->elementDescription))
    return Result::skipped();
  if (row->childItems.empty()) return Result::skipped();
  auto label = labelOfRowChildren(*row);
  if (!label) return Result::skipped();
  row->syntheticFoldedRowLabel = std::move(label);
  row->isFocused = containsFocusedElement(*row);
  row->childItems.clear();
  return Result::transformed(row);
}

/// Remembers which processes are the calendar application.
class CalendarProcesses {
 public:
  explicit CalendarProcesses(WorkspacePort& workspace) : workspace_(workspace) {}

  bool serve(const Item& item) {
    const auto pid = item.access->port().getPid(item.axElement);
    if (!pid.ok()) return false;
    const auto known = isCalendarByPID_.find(pid.value);
    if (known != isCalendarByPID_.end()) return known->second;
    const auto application = workspace_.runningApplication(pid.value);
    const bool isCalendar = application && application->bundleIdentifier == "com.apple.iCal";
    isCalendarByPID_.emplace(pid.value, isCalendar);
    return isCalendar;
  }

 private:
  WorkspacePort& workspace_;
  std::map<std::int32_t, bool> isCalendarByPID_;
};

}  // namespace

bool containsFocusedElement(const Item& item) {
  return anyInSubtree(item, [](const Item& below) { return below.isFocused; });
}

bool isNonDescriptive(const Item& item) {
  return !hasText(item.title) && !hasText(item.value) && !hasText(item.elementDescription) &&
         !hasText(item.placeholderValue) && !hasText(item.help) && !hasText(item.syntheticFoldedRowLabel) &&
         !item.url && !item.hasPublicIdentifier() && item.actions.empty() && item.childItems.empty();
}

bool hasMeaningfulContainerMetadata(const Item& item) {
  return hasText(item.value) || hasText(item.elementDescription) || hasText(item.placeholderValue) ||
         hasText(item.help) || item.url || item.hasPublicIdentifier() || item.isValueSettable ||
         !item.actions.empty();
}

Result filterActions(const std::shared_ptr<Item>& item, const Item&) {
  const auto removedCount =
      std::erase_if(item->actions, [](const auto& action) { return !isKnownAction(action); });
  return removedCount > 0 ? Result::transformed(item) : Result::skipped();
}

Result flattenIntoSelectableAncestor(const std::shared_ptr<Item>& item, const Item&) {
  return item->appStateIsSelectableRow() ? foldSelectableRowChildren(item) : Result::skipped();
}

Result pruneNonDescriptiveSubtrees(const std::shared_ptr<Item>& item, const Item&) {
  return isNonDescriptive(*item) ? Result::removed() : Result::skipped();
}

Result pruneEmptyDisabledElements(const std::shared_ptr<Item>& item, const Item&) {
  const bool isEmpty = !hasText(item->title) && !hasText(item->value) && !hasText(item->elementDescription) &&
                       !hasText(item->syntheticFoldedRowLabel) && item->childItems.empty();
  return !item->isEnabled && isEmpty ? Result::removed() : Result::skipped();
}

Result mergeSingleItemGroups(const std::shared_ptr<Item>& item, const Item&) {
  if (item->role != "AXGroup" || item->childItems.size() != 1) return Result::skipped();
  if (hasText(item->title) || hasMeaningfulContainerMetadata(*item)) return Result::skipped();
  if (item->appStateIsWebLayoutContainer()) return Result::skipped();
  const auto& onlyChild = item->childItems.front();
  if (!onlyChild->frame) onlyChild->frame = item->frame;
  onlyChild->parent = item->parent;
  return Result::flattened(onlyChild);
}

Result flattenRedundantHierarchy(const std::shared_ptr<Item>&, const Item&) {
  return Result::skipped();
}

UIElementTreePass removeElementsUnderCalendarEvents(WorkspacePort& workspace) {
  return [calendar = CalendarProcesses(workspace)](const std::shared_ptr<Item>& item, const Item&) mutable {
    if (item->role != "AXGroup" || !item->access || !item->axElement) return Result::skipped();
    if (item->childItems.empty() || !calendar.serve(*item)) return Result::skipped();
    item->childItems.clear();
    return Result::transformed(item);
  };
}

}  // namespace tavik
