#include "AccessibilitySupport/Tree/UIElementTreeItem.h"

#include <utility>

namespace tavik {

// Descendants that nobody else holds are unlinked before they die, so that the
// destruction of a long chain takes no stack.
UIElementTreeItem::~UIElementTreeItem() {
  Children dying = std::move(childItems);
  while (!dying.empty()) {
    const auto item = std::move(dying.back());
    dying.pop_back();
    if (item.use_count() > 1) continue;
    for (auto& child : item->childItems) dying.push_back(std::move(child));
    item->childItems.clear();
  }
}

void UIElementTreeItem::setChildItems(Children children) {
  childItems = std::move(children);
  for (const auto& child : childItems) child->parent = weak_from_this();
}

std::shared_ptr<UIElementTreeItem> UIElementTreeItem::deepCopy() const {
  auto root = std::make_shared<UIElementTreeItem>(static_cast<const UIElementTreeItemValues&>(*this));
  std::vector<std::pair<const UIElementTreeItem*, UIElementTreeItem*>> pending = {{this, root.get()}};
  while (!pending.empty()) {
    const auto [original, copy] = pending.back();
    pending.pop_back();
    Children children;
    children.reserve(original->childItems.size());
    for (const auto& child : original->childItems) {
      children.push_back(
          std::make_shared<UIElementTreeItem>(static_cast<const UIElementTreeItemValues&>(*child)));
      pending.emplace_back(child.get(), children.back().get());
    }
    copy->setChildItems(std::move(children));
  }
  return root;
}

}  // namespace tavik
