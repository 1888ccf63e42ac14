#pragma once

#include <initializer_list>
#include <memory>
#include <string>
#include <utility>

#include "AccessibilitySupport/Tree/UIElementTree.h"

namespace tavik {

using Item = UIElementTreeItem;

/// A plain item without a live element: what it says, then its children.
inline std::shared_ptr<Item> item(UIElementTreeItemValues values,
                                  std::initializer_list<std::shared_ptr<Item>> children = {}) {
  auto made = std::make_shared<Item>(std::move(values));
  made->setChildItems(children);
  return made;
}

inline std::shared_ptr<Item> staticText(const std::string& value) {
  return item({.role = "AXStaticText", .value = value});
}

inline std::shared_ptr<Item> button(const std::string& title) {
  return item({.role = "AXButton", .roleDescription = "button", .title = title, .actions = {"AXPress"}});
}

inline std::shared_ptr<UIElementTree> tree(std::shared_ptr<Item> root) {
  return std::make_shared<UIElementTree>(std::move(root), 100);
}

/// The tree below an application root, numbered and written down.
inline std::string textOf(std::initializer_list<std::shared_ptr<Item>> children) {
  const auto made = tree(item({.role = "AXApplication"}, children));
  made->assignIndices();
  return made->serializeForAppState();
}

/// `depth` items below each other, the last of which says "deep".
inline std::shared_ptr<Item> chain(int depth, const UIElementTreeItemValues& link) {
  auto root = item(link);
  Item* end = root.get();
  for (int level = 1; level < depth; ++level) {
    end->setChildItems({item(link)});
    end = end->childItems.front().get();
  }
  end->setChildItems({staticText("deep")});
  return root;
}

}  // namespace tavik
