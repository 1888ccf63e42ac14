#pragma once

#include <array>
#include <functional>
#include <memory>
#include <utility>

#include "AccessibilitySupport/Tree/UIElementTreeItem.h"

namespace tavik {

/// The passes that turn a raw tree into the shape that the model reads, in the order
/// in which they run.
enum class UIElementTreeTransformation : int {
  filterActions = 0,
  associateTitleUIElements = 1,
  flattenIntoSelectableAncestor = 2,
  pruneNonDescriptiveSubtrees = 3,
  pruneEmptyDisabledElements = 4,
  mergeSingleItemGroups = 5,
  flattenRedundantHierarchy = 6,
  flattenRepetitiveStaticText = 7,
  flattenLinksIntoMarkdownText = 8,
  mergeTextOnlySiblings = 9,
  removeElementsUnderCalendarEvents = 10,
  retrieveAttributedTextFromTextAreas = 11,
  retrieveAttributedTextFromWebAreas = 12,
};

inline constexpr std::array allUIElementTreeTransformations = {
    UIElementTreeTransformation::filterActions,
    UIElementTreeTransformation::associateTitleUIElements,
    UIElementTreeTransformation::flattenIntoSelectableAncestor,
    UIElementTreeTransformation::pruneNonDescriptiveSubtrees,
    UIElementTreeTransformation::pruneEmptyDisabledElements,
    UIElementTreeTransformation::mergeSingleItemGroups,
    UIElementTreeTransformation::flattenRedundantHierarchy,
    UIElementTreeTransformation::flattenRepetitiveStaticText,
    UIElementTreeTransformation::flattenLinksIntoMarkdownText,
    UIElementTreeTransformation::mergeTextOnlySiblings,
    UIElementTreeTransformation::removeElementsUnderCalendarEvents,
    UIElementTreeTransformation::retrieveAttributedTextFromTextAreas,
    UIElementTreeTransformation::retrieveAttributedTextFromWebAreas,
};

/// What a pass answers for one item.
struct UIElementTreeTransformationResult {
  enum class Kind {
    transformed,  ///< put `item` in the child list
    flattened,    ///< put `item` in the child list in place of the old one
    removed,      ///< drop the old item
    skipped,      ///< keep the old item as it is
  };

  Kind kind = Kind::skipped;
  std::shared_ptr<UIElementTreeItem> item;

  static UIElementTreeTransformationResult transformed(std::shared_ptr<UIElementTreeItem> item) {
    return {Kind::transformed, std::move(item)};
  }
  static UIElementTreeTransformationResult flattened(std::shared_ptr<UIElementTreeItem> item) {
    return {Kind::flattened, std::move(item)};
  }
  static UIElementTreeTransformationResult removed() { return {Kind::removed, nullptr}; }
  static UIElementTreeTransformationResult skipped() { return {Kind::skipped, nullptr}; }
};

/// One pass, asked for an item after all items below it, with the item's parent. It
/// may change the item and what is below it, and no other.
using UIElementTreePass = std::function<UIElementTreeTransformationResult(
    const std::shared_ptr<UIElementTreeItem>& item, const UIElementTreeItem& parent)>;

}  // namespace tavik
