#include "ComputerUseToolRuntime/State/StateTreeQuality.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "AccessibilitySupport/Tree/ItemWalk.h"
#include "AccessibilitySupport/Tree/OptionalText.h"
#include "Base/Text/Text.h"

namespace tavik::StateTreeQuality {

namespace {

using Item = UIElementTree::Item;
using Items = std::vector<std::shared_ptr<Item>>;

constexpr std::size_t mostShellItems = 6;
constexpr int mostSparseLines = 12;
constexpr int mostChromeLines = 24;
constexpr std::size_t signatureItems = 12;
constexpr double frameTolerance = 2.0;

constexpr const char* button = "按钮";
constexpr const char* group = "组";

std::string lowered(const std::optional<std::string>& text) { return text::lowercased(text.value_or("")); }

bool describesButton(const Item& item) { return item.roleDescription && item.roleDescription->contains(button); }

bool isMenuBar(const Item& item) { return item.role == "AXMenuBar" || item.roleDescription == "menu bar"; }

bool isTaskStateContent(const Item& item) {
  if (isWebContent(item)) return true;
  if (item.role == "AXRow" || item.role == "AXTextField" || item.role == "AXTextArea") return true;
  const std::string description = lowered(item.roleDescription);
  return description == "editor" || description == "row";
}

bool anyItem(const UIElementTree& tree, bool (*matches)(const Item&)) { return anyInSubtree(*tree.rootItem, matches); }

/// Every item but the root.
Items itemsBelowRoot(const UIElementTree& tree) {
  Items items = tree.allItems();
  items.erase(items.begin());
  return items;
}

bool rootIsNamed(const UIElementTree& tree) {
  return hasText(tree.rootItem->title) || hasText(tree.rootItem->roleDescription);
}

int lineCountOf(const std::string& text) {
  const auto lines = text::split(text, '\n', /*keepEmpty=*/false);
  return static_cast<int>(lines.size());
}

bool saysTitle(const Item& item, const std::optional<std::string>& title) {
  return item.title == title || item.value == title || item.elementDescription == title;
}

bool isEditableTitleEcho(const Item& item, const std::optional<std::string>& rootTitle) {
  return item.role == "AXGroup" && item.isValueSettable && item.valueType == "string" && saysTitle(item, rootTitle);
}

bool isWithinMenuBar(const Item& item) {
  for (auto parent = item.parentItem(); parent; parent = parent->parentItem()) {
    if (isMenuBar(*parent)) return true;
  }
  return false;
}

bool hasFocusedOrSelectedDescendant(const Item& menu) {
  return std::ranges::any_of(menu.childItems, [](const auto& child) {
    return anyInSubtree(*child, [](const Item& item) { return item.isFocused || item.isSelected; });
  });
}

/// Whether the item lies in a menu of the menu bar that the user has open.
bool liesInOpenMenu(const std::shared_ptr<Item>& item) {
  for (auto each = item; each; each = each->parentItem()) {
    const auto parent = each->parentItem();
    if (each->role != "AXMenu" || !parent || parent->role != "AXMenuBarItem") continue;
    if (hasFocusedOrSelectedDescendant(*each)) return true;
  }
  return false;
}

bool isMenuRole(const Item& item) {
  return item.role == "AXMenu" || item.role == "AXMenuItem" || item.role == "AXMenuBarItem";
}

bool isOfferingSomething(const Item& item) { return !item.actions.empty() || item.isValueSettable; }

std::string normalizedTitle(const std::optional<std::string>& title) {
  static const std::array blanks = {"\u00A0", "\u1680", "\u2000", "\u2001", "\u2002", "\u2003", "\u2004", "\u2005", "\u2006",
                                    "\u2007", "\u2008", "\u2009", "\u200A", "\u202F", "\u205F", "\u3000"};
  std::string normalized = title.value_or("");
  for (const char* blank : blanks) normalized = text::replacingAll(normalized, blank, " ");
  return text::trimmed(normalized);
}

bool framesMatch(const std::optional<Rect>& a, const std::optional<Rect>& b) {
  const auto isNear = [](double x, double y) { return std::abs(x - y) <= frameTolerance; };
  return a && b && isNear(a->origin.x, b->origin.x) && isNear(a->origin.y, b->origin.y) &&
         isNear(a->size.width, b->size.width) && isNear(a->size.height, b->size.height);
}

}  // namespace

bool isWindowRole(const std::optional<std::string>& role) { return role == "AXWindow" || role == "AXStandardWindow"; }

bool isWebContent(const Item& item) {
  return item.role == "AXWebArea" || (item.roleDescription && text::containsIgnoringCase(*item.roleDescription, "HTML"));
}

bool hasMenuBar(const UIElementTree& tree) { return anyItem(tree, isMenuBar); }

int lineCount(const UIElementTree& tree) { return lineCountOf(tree.serializeForAppState()); }

bool treeContainsTaskStateContent(const UIElementTree& tree) { return anyItem(tree, isTaskStateContent); }

// Shells

bool isWindowTitleShellGroup(const Item& item, const std::optional<std::string>& rootTitle) {
  if (item.role != "AXGroup") return false;
  if (item.isValueSettable && item.valueType == "string") return true;
  return item.childItems.empty() && item.actions.empty() && hasText(rootTitle) && saysTitle(item, rootTitle);
}

bool isLowSignalChromeContainer(const Item& item, const std::optional<std::string>& rootTitle) {
  const std::string description = lowered(item.roleDescription);
  const bool isContainer = item.role == "AXGroup" || item.role == "AXGenericElement" || description == "group" ||
                           description == "container" || description == group;
  if (!isContainer) return false;
  if (hasText(rootTitle) && item.title && item.title != rootTitle) return false;
  return !anyInSubtree(item, isTaskStateContent);
}

bool treeHasOnlyWindowChrome(const UIElementTree& tree) {
  const auto& rootTitle = tree.rootItem->title;
  return std::ranges::all_of(itemsBelowRoot(tree), [&](const auto& item) {
    return isMenuBar(*item) || item->role == "AXMenuBarItem" || item->role == "AXButton" || describesButton(*item) ||
           isWithinMenuBar(*item) || isWindowTitleShellGroup(*item, rootTitle) ||
           isLowSignalChromeContainer(*item, rootTitle);
  });
}

bool isPersistentlySparseWindowShell(const UIElementTree& tree) {
  const auto& rootTitle = tree.rootItem->title;
  const auto items = itemsBelowRoot(tree);
  if (items.size() + 1 > mostShellItems || !isWindowRole(tree.rootItem->role) || !hasText(rootTitle)) return false;
  const auto isEcho = [&](const auto& item) { return isEditableTitleEcho(*item, rootTitle); };
  if (std::ranges::none_of(items, isEcho)) return false;
  return std::ranges::all_of(
      items, [&](const auto& item) { return isEcho(item) || item->role == "AXButton" || describesButton(*item); });
}

// Retries

bool shouldRetryTransientAppState(const UIElementTree& tree) {
  return anyItem(tree, [](const Item& item) {
    const std::string said = lowered(item.title) + " " + lowered(item.value) + " " + lowered(item.elementDescription);
    return said.contains("not accessible at this time") || said.contains("screen reader optimized mode");
  });
}

bool shouldRetrySparseWindowAppState(const UIElementTree& tree) {
  return tree.allItems().size() <= mostShellItems && isWindowRole(tree.rootItem->role) && !anyItem(tree, isWebContent) &&
         rootIsNamed(tree);
}

bool shouldRetrySerializedSparseAppState(const UIElementTree& tree) {
  const std::string text = tree.serializeForAppState();
  return lineCountOf(text) <= mostSparseLines && isWindowRole(tree.rootItem->role) && !anyItem(tree, isWebContent) &&
         !text.contains("\trow ") && rootIsNamed(tree);
}

bool shouldRetryMenuBarOnlyAppState(const UIElementTree& tree) {
  const auto& root = *tree.rootItem;
  if (root.role == "AXMenu" || root.role == "AXMenuBarItem") return false;
  if (!hasMenuBar(tree)) return false;
  if (treeContainsTaskStateContent(tree)) return false;
  for (const auto& item : itemsBelowRoot(tree)) {
    if (isMenuBar(*item)) continue;
    if (!isMenuRole(*item) || liesInOpenMenu(item)) return false;
  }
  return true;
}

bool shouldRetryLowSignalWindowMenuBarState(const UIElementTree& tree) {
  return hasMenuBar(tree) && isWindowRole(tree.rootItem->role) && !treeContainsTaskStateContent(tree) &&
         treeHasOnlyWindowChrome(tree) && lineCount(tree) <= mostChromeLines;
}

bool shouldRetryLowSignalWindowChromeState(const UIElementTree& tree) {
  return shouldRetryLowSignalWindowMenuBarState(tree) ||
         (isWindowRole(tree.rootItem->role) && !treeContainsTaskStateContent(tree) && treeHasOnlyWindowChrome(tree) &&
          lineCount(tree) <= mostChromeLines);
}

bool passesReadinessTest(const UIElementTree& tree) {
  return !shouldRetryTransientAppState(tree) && !shouldRetrySparseWindowAppState(tree) &&
         !shouldRetrySerializedSparseAppState(tree) && !shouldRetryMenuBarOnlyAppState(tree) &&
         !shouldRetryLowSignalWindowChromeState(tree);
}

// Ranking

int stateTreeQualityScore(const UIElementTree& tree) {
  const auto items = tree.allItems();
  const auto offering = std::ranges::count_if(items, [](const auto& item) { return isOfferingSomething(*item); });
  int score = std::min(lineCount(tree), 400);
  if (treeContainsTaskStateContent(tree)) score += 2000;
  if (anyItem(tree, isWebContent)) score += 1000;
  if (hasMenuBar(tree)) score += 80;
  if (tree.focusedElement) score += 120;
  score += static_cast<int>(std::min<std::ptrdiff_t>(offering, 80));
  if (shouldRetryLowSignalWindowChromeState(tree)) score -= 1200;
  if (shouldRetryMenuBarOnlyAppState(tree)) score -= 1200;
  if (isPersistentlySparseWindowShell(tree) || shouldRetrySerializedSparseAppState(tree)) score -= 1500;
  return score;
}

bool isRicherAppStateTree(const UIElementTree& candidate, const UIElementTree& current) {
  const bool candidateHasContent = treeContainsTaskStateContent(candidate);
  if (stateTreeQualityScore(current) < stateTreeQualityScore(candidate) &&
      (candidateHasContent || shouldRetryLowSignalWindowChromeState(current))) {
    return true;
  }
  const int candidateLines = lineCount(candidate);
  const int currentLines = lineCount(current);
  if (currentLines >= candidateLines) return false;
  if (isPersistentlySparseWindowShell(current)) {
    if (isPersistentlySparseWindowShell(candidate)) return false;
    if (candidateHasContent) return true;
    if (hasMenuBar(candidate)) return candidateLines >= currentLines + 6;
    return candidateLines >= std::max(currentLines + 6, 12);
  }
  if (anyItem(candidate, isWebContent)) return candidateLines >= std::max(currentLines + 10, 20);
  return candidateLines >= std::max(2 * currentLines, 24);
}

std::string stateTreeSignature(const UIElementTree& tree) {
  const auto said = [](const Item& item) {
    return "role=" + item.role.value_or("") + ";title=" + item.title.value_or("") +
           ";desc=" + item.elementDescription.value_or("");
  };
  const auto items = tree.allItems();
  std::vector<std::string> first;
  for (const auto& item : items) {
    if (first.size() == signatureItems) break;
    if (item->elementIndex) first.push_back(said(*item));
  }
  return "count=" + std::to_string(items.size()) + ";lines=" + std::to_string(lineCount(tree)) + ";" +
         said(*tree.rootItem) + ";first=" + text::joined(first, "|");
}

bool windowItemsLikelyMatch(const Item& a, const Item& b) {
  if (a.axElement && b.axElement && a.axElement == b.axElement) return true;
  const std::string titleOfA = normalizedTitle(a.title);
  const std::string titleOfB = normalizedTitle(b.title);
  if (!titleOfA.empty()) return titleOfA == titleOfB;
  return framesMatch(a.frame, b.frame);
}

bool stateTreeCanReplaceCurrentWindow(const UIElementTree& candidate, const UIElementTree& current) {
  if (!isWindowRole(current.rootItem->role)) return true;
  if (isWindowRole(candidate.rootItem->role)) return windowItemsLikelyMatch(*candidate.rootItem, *current.rootItem);
  Items windows = candidate.allItems();
  std::erase_if(windows, [](const auto& item) { return !isWindowRole(item->role); });
  return windows.size() == 1 && windowItemsLikelyMatch(*windows.front(), *current.rootItem);
}

}  // namespace tavik::StateTreeQuality
