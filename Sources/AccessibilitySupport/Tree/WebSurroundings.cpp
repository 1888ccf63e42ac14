#include "AccessibilitySupport/Tree/WebSurroundings.h"

#include <memory>

#include "AccessibilitySupport/Tree/OptionalText.h"
#include "AccessibilitySupport/Tree/WordMatch.h"

namespace tavik {

namespace {

constexpr int deepestLayoutContainer = 3;

bool isLayoutElement(const UIElementTreeItem& item) {
  return item.role == "AXGroup" || item.role == "AXLayoutArea" || item.role == "AXLayoutItem";
}

bool isCalledContainer(const UIElementTreeItem& item) {
  return item.roleDescription &&
         (isWord(*item.roleDescription, "container") || isWord(*item.roleDescription, "应用"));
}

bool saysNothing(const UIElementTreeItem& item) {
  return !hasText(item.title) && !hasText(item.value) && !hasText(item.elementDescription) &&
         !hasText(item.placeholderValue) && !hasText(item.help) && !item.url && !item.hasPublicIdentifier() &&
         !item.isValueSettable;
}

/// All that can be told without looking around and without asking the application.
bool looksLikeLayoutContainer(const UIElementTreeItem& item) {
  return isLayoutElement(item) && !item.childItems.empty() && isCalledContainer(item) && saysNothing(item);
}

/// Goes up only as far as it may matter.
bool isNearWebRoot(const UIElementTreeItem& item) {
  int layoutDepth = 1;
  for (auto ancestor = item.parentItem(); ancestor; ancestor = ancestor->parentItem()) {
    if (isWebRoot(*ancestor)) return true;
    if (isLayoutElement(*ancestor) && ++layoutDepth > deepestLayoutContainer) return false;
  }
  return false;
}

}  // namespace

bool isWebRoot(const UIElementTreeItem& item) {
  return item.role == "AXWebArea" || item.roleDescription == "HTML 内容";
}

WebSurroundings WebSurroundings::of(const UIElementTreeItem& item) {
  int layoutDepth = 1;
  for (auto ancestor = item.parentItem(); ancestor; ancestor = ancestor->parentItem()) {
    if (isWebRoot(*ancestor)) return {true, layoutDepth};
    if (isLayoutElement(*ancestor)) ++layoutDepth;
  }
  return {};
}

WebSurroundings WebSurroundings::below(const UIElementTreeItem& item) const {
  if (isWebRoot(item)) return {true, 1};
  if (!isInsideWebRoot) return {};
  return {true, layoutDepth + (isLayoutElement(item) ? 1 : 0)};
}

bool isWebLayoutContainer(const UIElementTreeItem& item, const WebSurroundings& surroundings) {
  return surroundings.isInsideWebRoot && surroundings.layoutDepth <= deepestLayoutContainer &&
         looksLikeLayoutContainer(item) && item.appStateActionNames().empty();
}

bool UIElementTreeItem::appStateIsWebLayoutContainer() const {
  return looksLikeLayoutContainer(*this) && isNearWebRoot(*this) && appStateActionNames().empty();
}

}  // namespace tavik
