#include "ComputerUseToolRuntime/State/FocusedElementDescription.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "AccessibilitySupport/Tree/OptionalText.h"
#include "Base/Text/Text.h"

namespace tavik {

namespace {

using Item = UIElementTree::Item;
using Items = std::vector<std::shared_ptr<Item>>;

constexpr const char* noFocusedElement = "focusedElementDescriptionNotFound";
constexpr int surelyTheSame = 6;

constexpr const char* textInputArea = "文本输入区";
constexpr const char* textField = "文本字段";

bool isTextInputRole(const std::optional<std::string>& role) {
  return role == "AXTextArea" || role == "AXTextField" || role == "AXComboBox";
}

std::string normalized(const std::optional<std::string>& text) {
  return text::lowercased(text::trimmed(text.value_or("")));
}

bool nonEmptyEqual(const std::optional<std::string>& a, const std::optional<std::string>& b) {
  return hasText(a) && hasText(b) && *a == *b;
}

std::optional<std::string> indexed(const Item& item) {
  if (!item.elementIndex) return std::nullopt;
  return std::to_string(*item.elementIndex) + " " + item.appStateDescriptionWithoutIndex();
}

std::string indexedIfPossible(const Item& item) {
  return indexed(item).value_or(item.appStateDescriptionWithoutIndex());
}

Items indexedItems(const UIElementTree& tree) {
  Items items = tree.allItems();
  std::erase_if(items, [](const auto& item) { return !item->elementIndex; });
  return items;
}

template <class Matches>
std::optional<std::string> onlyOne(const Items& items, Matches matches) {
  std::shared_ptr<Item> only;
  for (const auto& item : items) {
    if (!matches(*item)) continue;
    if (only) return std::nullopt;
    only = item;
  }
  return only ? indexed(*only) : std::nullopt;
}

std::string collectedStrings(const Item& item) {
  std::vector<std::string> strings;
  for (const auto& text : {item.title, item.value, item.elementDescription, item.placeholderValue}) {
    if (hasText(text)) strings.push_back(*text);
  }
  return text::lowercased(text::trimmed(text::joined(strings, " ")));
}

bool liesInsideMenu(const Item& item) {
  for (auto parent = item.parentItem(); parent; parent = parent->parentItem()) {
    if (parent->role == "AXMenu") return true;
  }
  return false;
}

bool itemLooksLikeActiveMenuTextInput(const Item& item) {
  if (!item.elementIndex || !isTextInputRole(item.role) || !liesInsideMenu(item)) return false;
  const std::string said = collectedStrings(item);
  return said == ">" || said.contains("command") || said.contains("input") || said.contains("search") ||
         said.contains("filter") || said.contains("line number");
}

bool itemLooksLikeEditorCaretStatus(const Item& item) {
  const auto tellsCaret = [](const std::optional<std::string>& text) {
    return hasText(text) && text::matches(*text, "\\bLn\\s+\\d+,\\s*Col\\s+\\d+\\b");
  };
  return tellsCaret(item.title) || tellsCaret(item.value) || tellsCaret(item.elementDescription);
}

/// A page has the focus, and the element that had it before was a text editor: it
/// is likely that the editor still has it and only cannot say so.
std::optional<std::string> editorBeforeTheAction(const Item& item,
                                                 const std::optional<FocusedElementSnapshot>& preAction,
                                                 const UIElementTree& tree) {
  if (!preAction || !focusedSnapshotLooksLikeTextEditor(*preAction)) return std::nullopt;
  if (!focusedItemIsLowSignalWebContainer(item)) return std::nullopt;
  return indexedFocusedElementDescription(*preAction, tree);
}

std::string describedItem(const Item& item, const std::optional<FocusedElementSnapshot>& preAction,
                          const UIElementTree& tree) {
  if (focusedItemIsLowSignalWebContainer(item)) {
    if (auto editor = uniqueEditorWithCaretStatusDescription(tree)) return *editor;
  }
  if (auto editor = editorBeforeTheAction(item, preAction, tree)) return *editor;
  return indexedIfPossible(item);
}

}  // namespace

std::optional<std::string> modelFocusedElementDescription(
    std::int32_t pid, const UIElementTree& tree, const std::optional<FocusedElementSnapshot>& preActionFocusedElement,
    const AXElement& observerFocusedElement, const LiveElementReader& reader) {
  if (const auto item = tree.focusedItem()) return describedItem(*item, preActionFocusedElement, tree);

  const std::string ofTree = tree.focusedElementDescription();
  if (!ofTree.empty() && ofTree != noFocusedElement) return ofTree;

  if (observerFocusedElement) {
    const auto item = tree.findItem(observerFocusedElement);
    if (item && item->elementIndex) {
      const auto editor = editorBeforeTheAction(*item, preActionFocusedElement, tree);
      return editor ? editor : indexed(*item);
    }
  }
  if (auto input = activeMenuTextInputDescription(tree)) return input;

  const auto live = focusedElementSnapshot(pid, reader);
  if (live) {
    if (auto description = indexedFocusedElementDescription(*live, tree)) return description;
  } else if (auto input = activeMenuTextInputDescription(tree)) {
    return input;
  }
  if (preActionFocusedElement) {
    if (auto description = indexedFocusedElementDescription(*preActionFocusedElement, tree)) return description;
  }
  if (live) {
    if (auto raw = live->rawDescription()) return raw;
  }
  return preActionFocusedElement ? preActionFocusedElement->rawDescription() : std::nullopt;
}

std::optional<std::string> indexedFocusedElementDescription(const FocusedElementSnapshot& focused,
                                                            const UIElementTree& tree) {
  const Items items = indexedItems(tree);
  for (const auto& item : items) {
    if (item->axElement && item->axElement == focused.axElement) return indexed(*item);
  }
  std::shared_ptr<Item> best;
  int bestScore = surelyTheSame;
  for (const auto& item : items) {
    const int score = focusedElementMatchScore(focused, *item);
    if (score <= bestScore) continue;
    best = item;
    bestScore = score;
  }
  if (best) return indexed(*best);
  if (!focusedSnapshotLooksLikeTextEditor(focused)) return std::nullopt;
  if (focusedSnapshotLooksLikePlainTextInput(focused)) {
    return onlyOne(items, [](const Item& item) {
      return normalized(item.roleDescription) != "editor" && isTextInputRole(item.role);
    });
  }
  return onlyOne(items, [&](const Item& item) {
    if (!normalized(item.roleDescription).contains("editor")) return false;
    return !focused.value || (item.value && text::trimmed(*item.value) == text::trimmed(*focused.value));
  });
}

int focusedElementMatchScore(const FocusedElementSnapshot& focused, const Item& item) {
  int score = 0;
  if (nonEmptyEqual(focused.role, item.role)) {
    score = 4;
  } else if (isTextInputRole(focused.role) && isTextInputRole(item.role)) {
    score = 3;
  } else {
    return 0;
  }
  if (nonEmptyEqual(focused.roleDescription, item.roleDescription)) score += 2;
  if (nonEmptyEqual(focused.subrole, item.subrole)) score += 2;
  if (nonEmptyEqual(focused.identifier, item.identifier)) score += 4;
  if (nonEmptyEqual(focused.title, item.title)) score += 3;
  if (nonEmptyEqual(focused.elementDescription, item.elementDescription)) score += 3;
  if (nonEmptyEqual(focused.value, item.value)) score += 2;
  if (focused.role == "AXTextArea" && item.isValueSettable) score += 1;
  return score;
}

std::optional<std::string> activeMenuTextInputDescription(const UIElementTree& tree) {
  return onlyOne(tree.allItems(), itemLooksLikeActiveMenuTextInput);
}

std::optional<std::string> uniqueEditorWithCaretStatusDescription(const UIElementTree& tree) {
  const Items items = tree.allItems();
  const bool tellsCaret =
      std::ranges::any_of(items, [](const auto& item) { return itemLooksLikeEditorCaretStatus(*item); });
  if (!tellsCaret) return std::nullopt;
  return onlyOne(items, [](const Item& item) {
    return item.roleDescription == "editor" || item.roleDescription == "editor group";
  });
}

bool focusedSnapshotLooksLikeTextEditor(const FocusedElementSnapshot& focused) {
  if (isTextInputRole(focused.role)) return true;
  const std::string description = normalized(focused.roleDescription);
  return description == "editor" || description == "text area" || description == textInputArea ||
         description == textField;
}

bool focusedSnapshotLooksLikePlainTextInput(const FocusedElementSnapshot& focused) {
  if (focused.role == "AXTextField" || focused.role == "AXComboBox") return true;
  const std::string description = normalized(focused.roleDescription);
  return description == "text field" || description == textField;
}

bool focusedItemIsLowSignalWebContainer(const Item& item) {
  if (item.isValueSettable) return false;
  if (item.role == "AXWebArea") return true;
  return normalized(item.roleDescription).contains("html");
}

}  // namespace tavik
