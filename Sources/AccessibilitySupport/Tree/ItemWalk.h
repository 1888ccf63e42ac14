#pragma once

#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

#include "AccessibilitySupport/Tree/UIElementTreeItem.h"

namespace tavik {

/// Visits an item and all below it, parents before children, in child order. Trees
/// come from other programs and may be of any depth, so no walk recurses.
///
/// `visit(item, context)` answers the context that the item's children get, or
/// nothing to leave them out. It must not change the child lists.
template <class Item, class Context, class Visit>
void walkPreOrder(Item& root, Context context, Visit visit) {
  struct Level {
    const UIElementTreeItem::Children* items;
    std::size_t next;
    Context context;
  };
  std::vector<Level> levels;
  const auto enter = [&](Item& item, const Context& around) {
    std::optional<Context> below = visit(item, around);
    if (below && !item.childItems.empty()) levels.push_back({&item.childItems, 0, std::move(*below)});
  };

  enter(root, context);
  while (!levels.empty()) {
    Level& level = levels.back();
    if (level.next == level.items->size()) {
      levels.pop_back();
    } else {
      Item& child = *(*level.items)[level.next++];
      enter(child, level.context);
    }
  }
}

/// True when the predicate holds for the item or any item below it.
template <class Predicate>
bool anyInSubtree(const UIElementTreeItem& root, Predicate predicate) {
  std::vector<const UIElementTreeItem*> waiting = {&root};
  while (!waiting.empty()) {
    const UIElementTreeItem* item = waiting.back();
    waiting.pop_back();
    if (predicate(*item)) return true;
    for (const auto& child : item->childItems) waiting.push_back(child.get());
  }
  return false;
}

}  // namespace tavik
