#include "ComputerUseToolRuntime/State/StateRootSelector.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "AccessibilitySupport/Access/AXActions.h"
#include "AccessibilitySupport/Access/AXAttributes.h"
#include "AccessibilitySupport/Tree/ItemWalk.h"
#include "AccessibilitySupport/Tree/OptionalText.h"
#include "ComputerUseToolRuntime/State/StateTreeQuality.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {

using Item = UIElementTree::Item;
using Tree = StateRootSelector::Tree;
using namespace StateTreeQuality;

constexpr int treeDepth = 50;
constexpr Duration treeTimeout = milliseconds(5000);
constexpr int menuBarDepth = 2;
constexpr Duration menuBarTimeout = milliseconds(300);
constexpr int mostMinimalIndices = 500;
/// Longer than any real ancestry; an application may name parents in a circle.
constexpr int longestAncestry = 512;

const std::string shownMenu = "AXShownMenuUIElement";

bool isMenuElementRole(const std::optional<std::string>& role) {
  return role == "AXMenu" || role == "AXMenuItem" || role == "AXMenuBarItem";
}

bool hasFocusOrSelectionBelow(const Item& menu) {
  return std::ranges::any_of(menu.childItems, [](const auto& child) {
    return anyInSubtree(*child, [](const Item& item) { return item.isFocused || item.isSelected; });
  });
}

bool isOpenMenu(const Item& item) {
  if (item.role != "AXMenu") return false;
  const bool canBeCancelled = std::ranges::find(item.actions, AXActions::cancel) != item.actions.end();
  return canBeCancelled || hasFocusOrSelectionBelow(item);
}

std::shared_ptr<Item> firstOpenMenu(const UIElementTree& tree) {
  const auto items = tree.allItems();
  const auto found = std::ranges::find_if(items, [](const auto& item) { return isOpenMenu(*item); });
  return found == items.end() ? nullptr : *found;
}

/// The menu, or the title of the menu bar that it belongs to, as a tree of its own.
Tree treeOfMenu(const std::shared_ptr<Item>& menu, const UIElementTree& in) {
  auto root = menu;
  for (auto parent = menu->parentItem(); parent; parent = parent->parentItem()) {
    if (parent->role == "AXMenuBarItem") root = parent;
  }
  auto tree = std::make_shared<UIElementTree>(root->deepCopy(), in.pid);
  tree->assignIndices();
  if (in.focusedElement) tree->focusedElement = tree->findItem(in.focusedElement->axElement);
  return tree;
}

bool holdsMenuWithItems(const Item& root) {
  return std::ranges::any_of(root.childItems,
                             [](const auto& child) { return child->role == "AXMenu" && !child->childItems.empty(); });
}

int contentItems(const UIElementTree& tree) {
  int count = 0;
  walkPreOrder(*tree.rootItem, true, [&](const Item& item, bool) -> std::optional<bool> {
    if (item.role == "AXMenuBar") return std::nullopt;
    if (item.elementIndex) ++count;
    return true;
  });
  return count;
}

/// A root that adds nothing but the menu bar is no better than the window: taken for
/// one, it would hide that the window is still an empty shell.
bool showsMoreContent(const UIElementTree& candidate, const UIElementTree& current) {
  return contentItems(candidate) > contentItems(current);
}

/// Whether the application answered at all.
bool wasRead(const UIElementTree& tree) { return tree.rootItem->role.has_value(); }

int nonEmptyLines(const UIElementTree& tree) { return lineCount(tree); }

}  // namespace

std::vector<AXElement> deduplicatedAXElements(const std::vector<AXElement>& elements) {
  std::unordered_set<AXElement> known;
  std::vector<AXElement> once;
  for (const auto& element : elements) {
    if (element && known.insert(element).second) once.push_back(element);
  }
  return once;
}

StateRootSelector::StateRootSelector(AXWrapper& access, const UIElementTreeTransformationRunner& transformations,
                                     Scheduler& scheduler, const std::optional<std::string>& traceSetting)
    : access_(access),
      reader_(access),
      transformations_(transformations),
      scheduler_(scheduler),
      traces_(traceSetting == "1") {}

Tree StateRootSelector::normalizedStateTree(std::int32_t pid, const Tree& replacing) {
  if (auto menu = menuFocusedTreeIfPresent(pid, replacing)) return stateTreeWithMenuBarContextIfAvailable(pid, menu);
  if (auto menu = activeMenuTreeIfPresent(pid, replacing)) {
    traceStateRootSelection("selected active menu root lines=" + std::to_string(nonEmptyLines(*menu)));
    return stateTreeWithMenuBarContextIfAvailable(pid, menu);
  }
  if (passesReadinessTest(*replacing)) return stateTreeWithMenuBarContextIfAvailable(pid, replacing);

  Tree chosen = replacing;
  int chosenScore = stateTreeQualityScore(*replacing);
  const int currentScore = chosenScore;
  for (const auto& candidate : alternativeStateRootTrees(pid, replacing)) {
    if (!stateTreeCanReplaceCurrentWindow(*candidate, *replacing)) continue;
    if (!showsMoreContent(*candidate, *replacing)) continue;
    const int score = stateTreeQualityScore(*candidate);
    if (score <= chosenScore) continue;
    chosen = candidate;
    chosenScore = score;
  }
  if (chosen != replacing) {
    traceStateRootSelection("replaced root currentScore=" + std::to_string(currentScore) +
                            " selectedScore=" + std::to_string(chosenScore) +
                            " currentRoot=" + replacing->rootItem->role.value_or("") +
                            " selectedRoot=" + chosen->rootItem->role.value_or(""));
  }
  return stateTreeWithMenuBarContextIfAvailable(pid, chosen);
}

Tree StateRootSelector::buildTransformed(std::int32_t pid, const std::optional<AXElement>& root) {
  auto tree = UIElementTree::build(access_, scheduler_, pid, root, treeDepth, treeTimeout);
  transformations_.transform(*tree);
  return tree;
}

// Other roots

std::vector<Tree> StateRootSelector::alternativeStateRootTrees(std::int32_t pid, const Tree&) {
  const AXElement application = access_.port().createApplication(pid);
  std::vector<AXElement> roots = {application, reader_.element(application, "AXFocusedWindow"),
                                  reader_.element(application, "AXMainWindow")};
  for (const auto& window : reader_.elements(application, "AXWindows")) roots.push_back(window);
  if (const AXElement focused = reader_.element(application, AXAttributes::focusedUIElement)) {
    for (const auto& root : focusedElementStateRoots(focused)) roots.push_back(root);
  }
  std::vector<Tree> trees;
  for (const auto& root : deduplicatedAXElements(roots)) {
    auto tree = buildTransformed(pid, root);
    if (wasRead(*tree)) trees.push_back(std::move(tree));
  }
  return trees;
}

std::vector<AXElement> StateRootSelector::focusedElementStateRoots(const AXElement& element) {
  std::vector<AXElement> roots;
  AXElement each = element;
  for (int i = 0; i < longestAncestry && each; ++i) {
    const auto role = reader_.roleName(each);
    if (role == "AXApplication") break;
    if (role == "AXWebArea" || isWindowRole(role)) roots.push_back(each);
    each = reader_.element(each, AXAttributes::parent);
  }
  return roots;
}

// Menus

Tree StateRootSelector::menuFocusedTreeIfPresent(std::int32_t pid, const Tree& tree) {
  const AXElement focused = reader_.focusedElement(pid);
  if (!focused) return nullptr;
  const auto role = reader_.roleName(focused);
  if ((role != "AXMenuItem" && role != "AXMenu") || tree->rootItem->role == "AXMenu") return nullptr;
  const auto menu = firstOpenMenu(*tree);
  return menu ? treeOfMenu(menu, *tree) : nullptr;
}

Tree StateRootSelector::activeMenuTreeIfPresent(std::int32_t pid, const Tree&) {
  if (const AXElement item = activeMenuBarItemWithMenu(pid)) {
    auto tree = buildTransformed(pid, item);
    if (tree->rootItem->role == "AXMenuBarItem" && holdsMenuWithItems(*tree->rootItem)) {
      tree->assignIndices();
      return tree;
    }
  }
  if (const AXElement menu = activeShownMenuElement(pid)) {
    auto tree = buildTransformed(pid, menu);
    if (tree->rootItem->role == "AXMenu" && !tree->rootItem->childItems.empty()) {
      tree->assignIndices();
      return tree;
    }
  }
  if (!focusedElementMayBeInActiveMenu(pid)) return nullptr;
  const auto tree = buildTransformed(pid, std::nullopt);
  const auto menu = firstOpenMenu(*tree);
  return menu ? treeOfMenu(menu, *tree) : nullptr;
}

AXElement StateRootSelector::activeMenuBarItemWithMenu(std::int32_t pid) {
  for (const auto& item : activeMenuBarItems(access_.port().createApplication(pid))) {
    for (const auto& child : reader_.elements(item, AXAttributes::children)) {
      if (reader_.roleName(child) == "AXMenu") return item;
    }
  }
  return {};
}

AXElement StateRootSelector::activeShownMenuElement(std::int32_t pid) {
  const AXElement application = access_.port().createApplication(pid);
  std::vector<AXElement> holders;
  if (const AXElement focused = reader_.element(application, AXAttributes::focusedUIElement)) {
    holders = focusedElementStateRoots(focused);
  }
  holders.push_back(reader_.element(application, "AXFocusedWindow"));
  holders.push_back(reader_.element(application, "AXMainWindow"));
  for (const auto& item : activeMenuBarItems(application)) holders.push_back(item);
  std::ranges::reverse(holders);
  for (const auto& holder : deduplicatedAXElements(holders)) {
    const AXElement menu = reader_.element(holder, shownMenu);
    if (menu && reader_.roleName(menu) == "AXMenu") return menu;
  }
  return {};
}

bool StateRootSelector::focusedElementMayBeInActiveMenu(std::int32_t pid) {
  AXElement each = reader_.focusedElement(pid);
  if (!each || !isMenuElementRole(reader_.roleName(each))) return false;
  for (int i = 0; i < longestAncestry && each; ++i) {
    if (reader_.element(each, shownMenu)) return true;
    if (reader_.boolean(each, AXAttributes::focused) == true) return true;
    if (reader_.boolean(each, AXAttributes::selected) == true) return true;
    each = reader_.element(each, AXAttributes::parent);
  }
  return false;
}

AXElement StateRootSelector::menuBarOf(const AXElement& application) {
  for (const auto& child : reader_.elements(application, AXAttributes::children)) {
    if (reader_.roleName(child) == "AXMenuBar") return child;
  }
  return reader_.element(application, "AXMenuBar");
}

std::vector<AXElement> StateRootSelector::activeMenuBarItems(const AXElement& application) {
  const AXElement bar = menuBarOf(application);
  if (!bar) return {};
  std::vector<AXElement> active;
  for (const auto& item : reader_.elements(bar, AXAttributes::children)) {
    const bool isActive = reader_.element(item, shownMenu) ||
                          (reader_.roleName(item) == "AXMenuBarItem" && hasVisibleMenu(item));
    if (isActive) active.push_back(item);
  }
  return deduplicatedAXElements(active);
}

/// A title keeps its menu also while that is closed; it is highlighted while open.
bool StateRootSelector::hasVisibleMenu(const AXElement& menuBarItem) {
  const auto children = reader_.elements(menuBarItem, AXAttributes::children);
  const bool hasMenu =
      std::ranges::any_of(children, [&](const AXElement& child) { return reader_.roleName(child) == "AXMenu"; });
  if (!hasMenu) return false;
  const auto isFocused = reader_.boolean(menuBarItem, AXAttributes::focused);
  return isFocused.value_or(false) || reader_.boolean(menuBarItem, AXAttributes::selected).value_or(false);
}

// The menu bar as context

Tree StateRootSelector::stateTreeWithMenuBarContextIfAvailable(std::int32_t pid, const Tree& current) {
  if (hasMenuBar(*current) || current->rootItem->role == "AXMenu") return current;
  const auto bar = menuBarContext(pid);
  if (bar.empty()) return current;
  auto merged = current->appStateTreeByAppendingRootSiblings(bar);
  traceStateRootSelection("appended menu bar context currentLines=" + std::to_string(nonEmptyLines(*current)) +
                          " mergedLines=" + std::to_string(nonEmptyLines(*merged)));
  return merged;
}

std::vector<std::shared_ptr<Item>> StateRootSelector::menuBarContext(std::int32_t pid) {
  const AXElement bar = menuBarOf(access_.port().createApplication(pid));
  if (!bar) return {};
  const auto tree = UIElementTree::build(access_, scheduler_, pid, bar, menuBarDepth, menuBarTimeout);
  auto titles = tree->rootItem->childItems;
  std::erase_if(titles, [](const auto& item) { return item->role != "AXMenuBarItem" || !hasText(item->title); });
  if (titles.empty()) return {};
  tree->rootItem->setChildItems(std::move(titles));
  return {tree->rootItem};
}

// Recovery

SerializableAppState StateRootSelector::recoverEmptySerializedAppState(std::int32_t pid, const Tree& tree) {
  const auto log = [&](LogLevel level, const char* event, LogFields fields) {
    TavikComputerUseLogger::log(level, LogCategory::accessibility, event, fields);
  };
  const auto initialItems = tree->allItems().size();
  log(LogLevel::warning, "empty_tree_recovery_started",
      {{"targetPid", pid}, {"initialNodeCount", initialItems}, {"initialRootRole", tree->rootItem->role}});

  if (tree->rootItem->role != "AXApplication") {
    const auto candidate = buildTransformed(pid, std::nullopt);
    const auto candidateItems = candidate->allItems().size();
    std::string text = candidate->serializeForAppState();
    const bool isConsistent = stateTreeCanReplaceCurrentWindow(*candidate, *tree);
    if (!wasRead(*candidate)) {
      log(LogLevel::warning, "empty_tree_application_root_failed", {{"reason", "application_unreadable"}});
    } else if (!text.empty() && isConsistent) {
      log(LogLevel::info, "empty_tree_recovery_finished",
          {{"recovery", "application_root"},
           {"outcome", "recovered_partial"},
           {"initialNodeCount", initialItems},
           {"recoveredNodeCount", candidateItems},
           {"targetPid", pid}});
      return {candidate, std::move(text), "application_root"};
    } else {
      log(LogLevel::warning, "empty_tree_application_root_rejected",
          {{"reason", text.empty() ? "empty_serialization" : "window_mismatch"},
           {"candidateNodeCount", candidateItems},
           {"candidateOutputLineCount", nonEmptyLines(*candidate)},
           {"windowConsistent", isConsistent}});
    }
  }

  tree->assignMinimalAppStateIndices(mostMinimalIndices);
  std::string text = tree->serializeForAppState();
  if (!text.empty()) {
    log(LogLevel::info, "empty_tree_recovery_finished",
        {{"recovery", "minimal_indices"},
         {"outcome", "recovered_partial"},
         {"initialNodeCount", initialItems},
         {"recoveredNodeCount", tree->itemsByIndex.size()},
         {"targetPid", pid}});
    return {tree, std::move(text), "minimal_indices"};
  }
  LogFields fields = {{"recovery", "none"}, {"outcome", "failed"}, {"initialNodeCount", initialItems}, {"targetPid", pid}};
  if (!wasRead(*tree)) fields.insert({"reason", "no_ax_nodes"});
  log(LogLevel::warning, "empty_tree_recovery_finished", fields);
  return {tree, "", "none"};
}

void StateRootSelector::traceStateRootSelection(const std::string& reason) {
  if (!traces_) return;
  TavikComputerUseLogger::debug(LogCategory::accessibility, "state_root_decision", {{"reason", reason}});
}

}  // namespace tavik
