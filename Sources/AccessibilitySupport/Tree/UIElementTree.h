#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "AccessibilitySupport/Access/AXWrapper.h"
#include "AccessibilitySupport/Tree/UIElementTreeItem.h"
#include "Base/Concurrency/Scheduler.h"
#include "Base/Concurrency/Time.h"

namespace tavik {

/// A snapshot of what an application shows: a tree of plain records copied out of
/// its accessibility interface, each keeping a handle to its live element.
///
/// Read by one flow at a time. A handle may outlive the element on screen; a later
/// call on it then fails.
class UIElementTree {
 public:
  using Item = UIElementTreeItem;

  UIElementTree(std::shared_ptr<Item> rootItem, std::int32_t pid, std::vector<std::string> diagnostics = {});
  UIElementTree(const UIElementTree&) = delete;
  UIElementTree& operator=(const UIElementTree&) = delete;

  const std::shared_ptr<Item> rootItem;
  /// The process that the tree was read from.
  const std::int32_t pid;
  /// What the build has to say about its result.
  std::vector<std::string> diagnostics;
  /// The item that the application named as focused; may be one that a pass dropped.
  std::shared_ptr<Item> focusedElement;
  std::map<int, std::shared_ptr<Item>> itemsByIndex;

  /// Waits until the application answers, then reads the tree below `rootElement`,
  /// or the whole application, down to `maxDepth` levels. Reading ends after
  /// `timeout`, the wait included: a marker item then stands where it stopped, and
  /// a diagnostic says so. Whatever the application answers, a tree comes back;
  /// only cancellation while waiting is thrown, as `CancellationError`.
  static std::shared_ptr<UIElementTree> build(AXWrapper& access, Scheduler& scheduler, std::int32_t pid,
                                              const std::optional<AXElement>& rootElement, int maxDepth,
                                              Duration timeout);

  /// The first item, parents before children, that stands for the element; or null.
  std::shared_ptr<Item> findItem(const AXElement& matching) const;
  /// Every item, parents before children, in child order.
  std::vector<std::shared_ptr<Item>> allItems() const;
  /// Appends an item and all below it in the same order.
  static void collectItems(Item& from, std::vector<std::shared_ptr<Item>>& into);
  /// The item that the last assignment of indices gave this index; or null.
  std::shared_ptr<Item> item(std::int64_t index) const;

  /// The item of the element that the tree was read from: below a root that was made
  /// up by `appStateTreeByAppendingRootSiblings`, the first child.
  std::shared_ptr<Item> itemReadFrom() const;

  /// A new tree of copies: an application root that holds this tree's root and then
  /// each sibling, with indices assigned and the focused element found again.
  std::shared_ptr<UIElementTree> appStateTreeByAppendingRootSiblings(
      const std::vector<std::shared_ptr<Item>>& siblings) const;

  /// Numbers the items that can be named to the model, from 0 in the order of
  /// `allItems`.
  void assignIndices();
  /// Numbers by a looser rule, at most `maximumCount` items.
  void assignMinimalAppStateIndices(int maximumCount);
  /// Takes the index from the item and all below it; `itemsByIndex` stays.
  static void clearIndices(Item& item);

  /// The debug form.
  std::string serialize() const;
  /// The form that the model reads: one line for each item with an index.
  std::string serializeForAppState() const;
  std::string windowTreeDescription() const { return serializeForAppState(); }

  /// What the application named as focused, else the one item that says so itself;
  /// null when there is none.
  std::shared_ptr<Item> focusedItem() const;
  /// The line of the focused item, or a literal that says that there is none.
  std::string focusedElementDescription() const;
  /// The one item that says of itself that it is focused; null when none or many.
  std::shared_ptr<Item> focusedElementFromFocusedAttribute() const;
  /// True when two items of different trees say the same, and say anything.
  static bool focusedElementFallbackMatches(const Item& a, const Item& b);

  /// The text that is selected in the focused element; asks the live element.
  std::optional<std::string> selectedElementText() const;
  /// The selected items; asks the live elements.
  std::vector<std::shared_ptr<Item>> selectedElementItems() const;
  /// The lines of the selected items, unless there is nothing worth saying.
  std::optional<std::string> selectedElementsDescription() const;
};

}  // namespace tavik
