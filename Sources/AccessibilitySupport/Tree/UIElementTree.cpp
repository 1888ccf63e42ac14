#include "AccessibilitySupport/Tree/UIElementTree.h"

#include <ranges>
#include <utility>

namespace tavik {

namespace {

/// Visits the item and all below it, parents before children, until `visit`
/// answers false. Takes no stack, however deep the tree.
template <class Visit>
void visitInOrder(UIElementTreeItem& root, Visit visit) {
  std::vector<UIElementTreeItem*> pending = {&root};
  while (!pending.empty()) {
    UIElementTreeItem& item = *pending.back();
    pending.pop_back();
    if (!visit(item)) return;
    for (const auto& child : item.childItems | std::views::reverse) pending.push_back(child.get());
  }
}

bool standsForSameElement(const UIElementTreeItem& item, const AXElement& element) {
  return element && item.axElement == element;
}

}  // namespace

UIElementTree::UIElementTree(std::shared_ptr<Item> rootItem, std::int32_t pid,
                             std::vector<std::string> diagnostics)
    : rootItem(std::move(rootItem)), pid(pid), diagnostics(std::move(diagnostics)) {}

std::shared_ptr<UIElementTree::Item> UIElementTree::findItem(const AXElement& matching) const {
  std::shared_ptr<Item> found;
  visitInOrder(*rootItem, [&](Item& item) {
    if (standsForSameElement(item, matching)) found = item.shared_from_this();
    return !found;
  });
  return found;
}

std::vector<std::shared_ptr<UIElementTree::Item>> UIElementTree::allItems() const {
  std::vector<std::shared_ptr<Item>> items;
  collectItems(*rootItem, items);
  return items;
}

void UIElementTree::collectItems(Item& from, std::vector<std::shared_ptr<Item>>& into) {
  visitInOrder(from, [&](Item& item) {
    into.push_back(item.shared_from_this());
    return true;
  });
}

std::shared_ptr<UIElementTree::Item> UIElementTree::item(std::int64_t index) const {
  if (!std::in_range<int>(index)) return nullptr;
  const auto found = itemsByIndex.find(static_cast<int>(index));
  return found == itemsByIndex.end() ? nullptr : found->second;
}

std::shared_ptr<UIElementTree::Item> UIElementTree::itemReadFrom() const {
  const bool isMadeUp = !rootItem->axElement && !rootItem->childItems.empty();
  return isMadeUp ? rootItem->childItems.front() : rootItem;
}

std::shared_ptr<UIElementTree> UIElementTree::appStateTreeByAppendingRootSiblings(
    const std::vector<std::shared_ptr<Item>>& siblings) const {
  Item::Children children = {rootItem->deepCopy()};
  for (const auto& sibling : siblings) children.push_back(sibling->deepCopy());

  auto root = std::make_shared<Item>();
  root->role = "AXApplication";
  root->setChildItems(std::move(children));

  auto tree = std::make_shared<UIElementTree>(std::move(root), pid);
  tree->assignIndices();
  if (!focusedElement) return tree;
  visitInOrder(*tree->rootItem, [&](Item& item) {
    if (standsForSameElement(item, focusedElement->axElement) ||
        focusedElementFallbackMatches(item, *focusedElement)) {
      tree->focusedElement = item.shared_from_this();
    }
    return !tree->focusedElement;
  });
  return tree;
}

}  // namespace tavik
