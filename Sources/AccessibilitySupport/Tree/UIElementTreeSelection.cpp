#include "AccessibilitySupport/Tree/UIElementTreeSelection.h"

#include <algorithm>
#include <set>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "AccessibilitySupport/Access/AXAttributes.h"
#include "AccessibilitySupport/Tree/AppStateLine.h"
#include "AccessibilitySupport/Tree/ItemWalk.h"
#include "AccessibilitySupport/Tree/OptionalText.h"
#include "AccessibilitySupport/Tree/UIElementTree.h"
#include "AccessibilitySupport/Tree/UIElementTreeVisibility.h"
#include "AccessibilitySupport/Tree/WebSurroundings.h"
#include "AccessibilitySupport/Tree/WordMatch.h"
#include "Base/Text/Text.h"

// What the application says of focus and selection.

namespace tavik {

namespace {

using Item = UIElementTreeItem;
using Items = std::vector<std::shared_ptr<Item>>;

template <class Value>
std::optional<Value> read(const Item& item, const std::string& attribute) {
  if (!item.access || !item.axElement) return std::nullopt;
  const std::optional<AXValue> answer = item.access->copyAttributeValueOptional(item.axElement, attribute);
  if (!answer) return std::nullopt;
  const Value* value = answer->get<Value>();
  return value ? std::optional<Value>(*value) : std::nullopt;
}

/// Adds items once each, in the order in which they are found.
class SelectedItems {
 public:
  explicit SelectedItems(const Items& allItems) {
    for (const auto& item : allItems) {
      if (item->axElement) itemsByElement_.try_emplace(item->axElement, item);
    }
  }

  void addFrom(const std::shared_ptr<Item>& item) {
    if (read<bool>(*item, AXAttributes::selected) == true) add(item);
    for (const auto& attribute : selectionAttributes) {
      for (const AXValue& member : read<AXArray>(*item, attribute).value_or(AXArray())) addElement(member);
    }
  }

  Items take() { return std::move(items_); }

 private:
  static inline const std::string selectionAttributes[] = {AXAttributes::selectedChildren, "AXSelectedRows",
                                                           "AXSelectedCells"};

  void addElement(const AXValue& value) {
    const AXElement* element = value.get<AXElement>();
    if (!element) return;
    const auto found = itemsByElement_.find(*element);
    if (found != itemsByElement_.end()) add(found->second);
  }

  void add(const std::shared_ptr<Item>& item) {
    if (added_.insert(item.get()).second) items_.push_back(item);
  }

  std::unordered_map<AXElement, std::shared_ptr<Item>> itemsByElement_;
  std::unordered_set<const Item*> added_;
  Items items_;
};

bool isWithinListColumn(const std::shared_ptr<Item>& item) {
  for (auto ancestor = item; ancestor; ancestor = ancestor->parentItem()) {
    if (isListColumn(*ancestor)) return true;
  }
  return false;
}

/// A selected row says what its selected cells say.
void dropRepetitionsOfRows(Items& items) {
  std::set<std::string> rowTexts;
  for (const auto& item : items) {
    if (!item->appStateIsSelectableRow()) continue;
    if (auto text = item->appStateSelectionComparableText()) rowTexts.insert(std::move(*text));
  }
  if (rowTexts.empty()) return;
  std::erase_if(items, [&](const auto& item) {
    if (item->appStateIsSelectableRow()) return false;
    const auto text = item->appStateSelectionComparableText();
    return text && rowTexts.contains(*text);
  });
}

/// The lines of selected items. Unlike those of a tree, they name every element,
/// with or without an index.
class SelectionText {
 public:
  void add(const Item& selected) {
    const Place top = {1, WebSurroundings::of(selected)};
    walkPreOrder(selected, top, [&](const Item& item, const Place& place) -> std::optional<Place> {
      if (isExcludedFromAppState(item)) return std::nullopt;
      const bool hasLine = item.role != "AXApplication";
      if (hasLine) addLine(item, place);
      if (isMenuBarTitle(item) || item.appStateFoldedRowLabel()) return std::nullopt;
      return Place{place.indent + (hasLine ? 1 : 0), place.surroundings.below(item)};
    });
  }

  std::string_view firstLine() const { return std::string_view(text_).substr(0, firstLineEnd_); }
  bool isEmpty() const { return text_.empty(); }
  std::string take() { return std::move(text_); }

 private:
  struct Place {
    std::size_t indent = 0;
    WebSurroundings surroundings;
  };

  void addLine(const Item& item, const Place& place) {
    const std::size_t before = text_.size();
    if (!text_.empty()) text_ += '\n';
    const std::size_t start = text_.size();
    appendAppStateLine(text_, item, place.indent, place.surroundings);
    if (text::isBlank(std::string_view(text_).substr(start))) {
      text_.resize(before);
    } else if (firstLineEnd_ == 0) {
      firstLineEnd_ = text_.size();
    }
  }

  std::string text_;
  std::size_t firstLineEnd_ = 0;
};

}  // namespace

std::optional<std::string> selectedText(const std::optional<std::string>& fromAXSelectedText,
                                        const std::optional<std::string>& stringValue,
                                        const std::optional<TextRange>& selectedRange) {
  if (hasText(fromAXSelectedText)) return fromAXSelectedText;
  if (!stringValue || !selectedRange) return std::nullopt;
  const auto [location, length] = *selectedRange;
  if (location < 0 || length < 1) return std::nullopt;
  const long available = text::utf16Length(*stringValue);
  if (location > available || length > available - location) return std::nullopt;
  return text::utf16Slice(*stringValue, location, length);
}

bool isNavigationTab(const std::optional<std::string>& role,
                     const std::optional<std::string>& roleDescription,
                     std::string_view appStateDescription) {
  if (role == "AXTab") return true;
  if (roleDescription && (isWord(*roleDescription, "tab") || isWord(*roleDescription, "标签"))) return true;
  return beginsWithWord(appStateDescription, "tab ") || beginsWithWord(appStateDescription, "标签");
}

bool selectedDescriptionIsNavigationChrome(std::string_view firstLine) {
  return text::matches(text::trimmed(firstLine), "^\\d+\\s+(标签|tab)(\\s|$)", true);
}

std::shared_ptr<Item> UIElementTree::focusedElementFromFocusedAttribute() const {
  std::shared_ptr<Item> focused;
  for (const auto& item : allItems()) {
    if (!item->isFocused) continue;
    if (focused) return nullptr;
    focused = item;
  }
  return focused;
}

std::shared_ptr<Item> UIElementTree::focusedItem() const {
  return focusedElement ? focusedElement : focusedElementFromFocusedAttribute();
}

std::string UIElementTree::focusedElementDescription() const {
  const auto focused = focusedItem();
  if (!focused) return "focusedElementDescriptionNotFound";
  std::string description;
  appendAppStateLine(description, *focused, 0, WebSurroundings::of(*focused));
  return description;
}

bool UIElementTree::focusedElementFallbackMatches(const Item& a, const Item& b) {
  return a.role == b.role &&
         (hasText(b.title) || hasText(b.value) || hasText(b.elementDescription) || hasText(b.identifier)) &&
         a.roleDescription == b.roleDescription && a.title == b.title && a.value == b.value &&
         a.elementDescription == b.elementDescription && a.identifier == b.identifier;
}

std::optional<std::string> UIElementTree::selectedElementText() const {
  const auto focused = focusedItem();
  if (!focused) return std::nullopt;
  return selectedText(read<std::string>(*focused, "AXSelectedText"),
                      read<std::string>(*focused, AXAttributes::value),
                      read<TextRange>(*focused, AXAttributes::selectedTextRange));
}

std::vector<std::shared_ptr<Item>> UIElementTree::selectedElementItems() const {
  const Items items = allItems();
  SelectedItems found(items);
  for (const auto& item : items) found.addFrom(item);
  Items selected = found.take();
  std::erase_if(selected, isWithinListColumn);
  dropRepetitionsOfRows(selected);
  return selected;
}

std::optional<std::string> UIElementTree::selectedElementsDescription() const {
  if (hasText(selectedElementText())) return std::nullopt;
  if (rootItem->role == "AXMenu" || rootItem->role == "AXMenuBarItem") return std::nullopt;

  SelectionText text;
  for (const auto& item : selectedElementItems()) {
    if (isNavigationTab(item->role, item->roleDescription, item->appStateDescriptionWithoutIndex())) continue;
    text.add(*item);
  }
  if (text.isEmpty() || selectedDescriptionIsNavigationChrome(text.firstLine())) return std::nullopt;
  return text.take();
}

}  // namespace tavik
