#include "AccessibilitySupport/Tree/UIElementTreeTransformationRunner.h"

#include <cstddef>
#include <vector>

#include "AccessibilitySupport/Tree/TransformationPasses.h"

namespace tavik {

namespace {

using Item = UIElementTreeItem;
using Result = UIElementTreeTransformationResult;

/// The child list is made anew only when a child goes or gives way to another.
void rebuildChildren(Item& parent, const UIElementTreePass& pass) {
  const Item::Children& before = parent.childItems;
  Item::Children after;
  bool hasChanged = false;
  for (std::size_t index = 0; index < before.size(); ++index) {
    Result result = pass(before[index], parent);
    std::shared_ptr<Item> successor =
        result.kind == Result::Kind::skipped ? before[index] : std::move(result.item);
    if (!hasChanged && successor != before[index]) {
      hasChanged = true;
      after.assign(before.begin(), before.begin() + static_cast<std::ptrdiff_t>(index));
    }
    if (hasChanged && successor) after.push_back(std::move(successor));
  }
  if (hasChanged) parent.setChildItems(std::move(after));
}

/// Deepest items first, so that a pass always sees finished subtrees.
void applyBottomUp(const UIElementTreePass& pass, Item& root) {
  struct Level {
    Item* item;
    std::size_t next = 0;
  };
  std::vector<Level> levels = {{&root}};
  while (!levels.empty()) {
    Level& level = levels.back();
    if (level.next < level.item->childItems.size()) {
      Item& child = *level.item->childItems[level.next++];
      if (!child.childItems.empty()) levels.push_back({&child});
    } else {
      rebuildChildren(*level.item, pass);
      levels.pop_back();
    }
  }
}

}  // namespace

void UIElementTreeTransformationRunner::transform(UIElementTree& tree) const {
  for (const auto transformation : allUIElementTreeTransformations) applyPass(transformation, tree.rootItem);
  tree.assignIndices();
}

void UIElementTreeTransformationRunner::applyPass(UIElementTreeTransformation transformation,
                                                  const std::shared_ptr<UIElementTreeItem>& parent) const {
  applyBottomUp(pass(transformation), *parent);
}

UIElementTreePass UIElementTreeTransformationRunner::pass(UIElementTreeTransformation transformation) const {
  switch (transformation) {
    case UIElementTreeTransformation::filterActions:
      return filterActions;
    case UIElementTreeTransformation::associateTitleUIElements:
      return associateTitleUIElements;
    case UIElementTreeTransformation::flattenIntoSelectableAncestor:
      return flattenIntoSelectableAncestor;
    case UIElementTreeTransformation::pruneNonDescriptiveSubtrees:
      return pruneNonDescriptiveSubtrees;
    case UIElementTreeTransformation::pruneEmptyDisabledElements:
      return pruneEmptyDisabledElements;
    case UIElementTreeTransformation::mergeSingleItemGroups:
      return mergeSingleItemGroups;
    case UIElementTreeTransformation::flattenRedundantHierarchy:
      return flattenRedundantHierarchy;
    case UIElementTreeTransformation::flattenRepetitiveStaticText:
      return flattenRepetitiveStaticText;
    case UIElementTreeTransformation::flattenLinksIntoMarkdownText:
      return flattenLinksIntoMarkdownText;
    case UIElementTreeTransformation::mergeTextOnlySiblings:
      return mergeTextOnlySiblings;
    case UIElementTreeTransformation::removeElementsUnderCalendarEvents:
      return removeElementsUnderCalendarEvents(workspace_);
    case UIElementTreeTransformation::retrieveAttributedTextFromTextAreas:
      return retrieveAttributedTextFromTextAreas;
    case UIElementTreeTransformation::retrieveAttributedTextFromWebAreas:
      return retrieveAttributedTextFromWebAreas;
  }
  return flattenRedundantHierarchy;
}

}  // namespace tavik
