#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <variant>

#include "AccessibilitySupport/Tree/ItemWalk.h"
#include "AccessibilitySupport/Tree/OptionalText.h"
#include "AccessibilitySupport/Tree/UIElementTree.h"
#include "AccessibilitySupport/Tree/UIElementTreeVisibility.h"
#include "AccessibilitySupport/Tree/WebSurroundings.h"

// Which items get a number that the model can send back.

namespace tavik {

namespace {

using Item = UIElementTreeItem;

constexpr std::array<std::string_view, 4> plainStructuralRoles = {"AXGroup", "AXLayoutArea", "AXLayoutItem",
                                                                  "AXList"};

constexpr std::array<std::string_view, 8> indexableSettableRoles = {
    "AXTextField", "AXTextArea", "AXComboBox",    "AXSlider",
    "AXScrollBar", "AXCheckBox", "AXRadioButton", "AXPopUpButton",
};

template <std::size_t count>
bool hasRoleAmong(const Item& item, const std::array<std::string_view, count>& roles) {
  return item.role && std::ranges::find(roles, *item.role) != roles.end();
}

/// A plain wrapper that at most explains itself.
bool isHelpOnlyStructuralWrapper(const Item& item) {
  return hasRoleAmong(item, plainStructuralRoles) && !hasText(item.title) && !hasText(item.value) &&
         !hasText(item.elementDescription) && !hasText(item.placeholderValue) && !item.url &&
         !item.hasPublicIdentifier() && !item.isValueSettable;
}

bool isPlainStructuralWrapper(const Item& item) {
  return !hasText(item.help) && isHelpOnlyStructuralWrapper(item);
}

bool isIndexableSettableElement(const Item& item) {
  return hasText(item.title) || hasText(item.elementDescription) || hasText(item.placeholderValue) ||
         item.hasPublicIdentifier() || hasRoleAmong(item, indexableSettableRoles);
}

bool shouldAssignIndex(const Item& item, const WebSurroundings& surroundings) {
  if (item.role == "AXApplication") return false;
  if (item.role == "AXMenuBar") return true;
  if (item.role == "AXMenuBarItem" && item.title == "Apple") return false;
  if (item.role == "AXToolbar") return true;
  if (item.hasPublicIdentifier()) return true;
  if (!item.actions.empty() && !isPlainStructuralWrapper(item)) return true;
  if (isWebLayoutContainer(item, surroundings)) return true;
  if (item.appStateFoldedRowLabel()) return true;
  if (hasText(item.value) || hasText(item.title)) return true;
  if (hasText(item.elementDescription) || hasText(item.placeholderValue)) return true;
  if (hasText(item.help) && !isHelpOnlyStructuralWrapper(item)) return true;
  if (item.url) return true;
  return item.isValueSettable && isIndexableSettableElement(item);
}

void clearIndicesBelow(Item& root) {
  walkPreOrder(root, std::monostate{}, [](Item& item, std::monostate below) {
    item.elementIndex.reset();
    return std::optional(below);
  });
}

/// Gives the items of one tree numbers from 0 on.
class Numbering {
 public:
  explicit Numbering(std::map<int, std::shared_ptr<Item>>& itemsByIndex) : itemsByIndex_(itemsByIndex) {
    itemsByIndex_.clear();
  }

  int next() const { return next_; }

  void number(Item& item) {
    item.elementIndex = next_;
    itemsByIndex_.emplace_hint(itemsByIndex_.end(), next_, item.shared_from_this());
    ++next_;
  }

 private:
  std::map<int, std::shared_ptr<Item>>& itemsByIndex_;
  int next_ = 0;
};

}  // namespace

void UIElementTree::assignIndices() {
  Numbering numbering(itemsByIndex);
  walkPreOrder(*rootItem, WebSurroundings::of(*rootItem),
               [&](Item& item, const WebSurroundings& surroundings) -> std::optional<WebSurroundings> {
                 if (shouldAssignIndex(item, surroundings)) {
                   numbering.number(item);
                 } else {
                   item.elementIndex.reset();
                 }
                 if (isMenuBarTitle(item)) return std::nullopt;
                 return surroundings.below(item);
               });
}

void UIElementTree::assignMinimalAppStateIndices(int maximumCount) {
  Numbering numbering(itemsByIndex);
  walkPreOrder(*rootItem, std::monostate{},
               [&](Item& item, std::monostate below) -> std::optional<std::monostate> {
                 if (isExcludedFromAppState(item)) {
                   clearIndicesBelow(item);
                   return std::nullopt;
                 }
                 const bool isNamed = hasText(item.role) || hasText(item.roleDescription);
                 if (isNamed && item.role != "AXApplication" && numbering.next() < maximumCount) {
                   numbering.number(item);
                 } else {
                   item.elementIndex.reset();
                 }
                 if (isMenuBarTitle(item)) return std::nullopt;
                 return below;
               });
}

void UIElementTree::clearIndices(Item& item) {
  clearIndicesBelow(item);
}

}  // namespace tavik
