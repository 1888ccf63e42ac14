#include "ComputerUsePlatform/Refetch/RefetchableAppStateAXTree.h"

#include <algorithm>
#include <utility>

#include "AccessibilitySupport/Access/AXAttributes.h"
#include "ComputerUsePlatform/Refetch/ElementEquivalence.h"

namespace tavik {

namespace {

using Item = UIElementTree::Item;
using Kind = RefetchableAppStateAXTree::Error::Kind;

std::shared_ptr<Item> firstItem(const UIElementTree& tree, bool (*matches)(const Item&)) {
  const auto items = tree.allItems();
  const auto found = std::ranges::find_if(items, [&](const auto& item) { return matches(*item); });
  return found == items.end() ? nullptr : *found;
}

std::shared_ptr<RefetchableUIElement> currentSystemSelection(const UIElementTree& tree) {
  auto item = tree.focusedElement;
  if (!item) item = firstItem(tree, [](const Item& item) { return item.isFocused; });
  if (!item) item = firstItem(tree, [](const Item& item) { return item.isSelected; });
  return item ? std::make_shared<RefetchableUIElement>(std::move(item)) : nullptr;
}

}  // namespace

const char* RefetchableAppStateAXTree::Error::description() const {
  switch (kind_) {
    case Kind::elementNotFound:
      return "The element ID is no longer valid. Try to get the on-screen content again and see if that resolves the "
             "issue.";
    case Kind::elementInvalidated:
    case Kind::elementNoLongerValidAfterRefetch:
      return "Element was invalidated and could not be found after refetching";
    case Kind::elementAmbiguousBeforeRefetch:
      return "Multiple existing equivalent elements; cannot guarantee uniqueness";
    case Kind::elementAmbiguousAfterRefetch:
      return "Multiple new equivalent elements; cannot guarantee uniqueness";
    case Kind::missingInvalidationMonitor:
      return "The app-state tree is unexpectedly missing an invalidation monitor. This state shouldn't happen, likely "
             "programmer error.";
  }
  return "";
}

LoggedError RefetchableAppStateAXTree::Error::loggedError() const {
  return {"RefetchableAppStateAXTree.Error", "ComputerUsePlatform.RefetchableAppStateAXTree.Error",
          static_cast<long>(kind_)};
}

RefetchableAppStateAXTree::RefetchableAppStateAXTree(AXWrapper& access,
                                                     const UIElementTreeTransformationRunner& transformations,
                                                     std::shared_ptr<UIElementTree> tree, std::int32_t pid,
                                                     TreeBuilder treeBuilder)
    : access_(access),
      transformations_(transformations),
      pid_(pid),
      treeBuilder_(std::move(treeBuilder)),
      tree_(std::move(tree)),
      systemSelection_(currentSystemSelection(*tree_)),
      invalidationMonitor_(UIElementTreeInvalidationMonitor::create(access.port())) {
  try {
    invalidationMonitor_->startMonitoring(*tree_);
  } catch (const UIElementError&) {
    // Without notifications each element is compared when it is asked for.
  }
}

RefetchableAppStateAXTree::~RefetchableAppStateAXTree() { invalidationMonitor_->stopMonitoring(); }

std::shared_ptr<UIElementTree> RefetchableAppStateAXTree::tree() const {
  MutexLock lock(lock_);
  return tree_;
}

std::shared_ptr<RefetchableUIElement> RefetchableAppStateAXTree::systemSelection() const {
  MutexLock lock(lock_);
  return systemSelection_;
}

std::shared_ptr<UIElementTreeInvalidationMonitor> RefetchableAppStateAXTree::invalidationMonitor() const {
  MutexLock lock(lock_);
  return invalidationMonitor_;
}

LogFields RefetchableAppStateAXTree::fieldsOf(const Item& item, std::int64_t index, LogFields more) const {
  more.insert({{"targetPid", pid_},
               {"elementIndex", index},
               {"role", item.role},
               {"hasIdentifier", item.identifier.has_value()}});
  return more;
}

std::shared_ptr<RefetchableUIElement> RefetchableAppStateAXTree::element(std::int64_t index) {
  const auto item = tree()->item(index);
  if (!item) throw Error(Kind::elementNotFound);
  TavikComputerUseLogger::debug(LogCategory::accessibility, "invalidation_check_started", fieldsOf(*item, index));
  if (!checkInvalidation(*item, index)) {
    TavikComputerUseLogger::debug(LogCategory::accessibility, "invalidation_check_finished", fieldsOf(*item, index));
    return std::make_shared<RefetchableUIElement>(item);
  }
  TavikComputerUseLogger::info(LogCategory::accessibility, "refetch_started",
                               fieldsOf(*item, index, {{"reason", "element_invalidated"}}));
  return refetchElement(*item, index);
}

bool RefetchableAppStateAXTree::checkInvalidation(const Item& item, std::int64_t index) {
  const auto monitor = invalidationMonitor();
  if (!monitor) throw Error(Kind::missingInvalidationMonitor);
  if (!item.axElement) return monitor->isInvalidated();
  if (access_.port().copyAttributeValue(item.axElement, AXAttributes::role).code == AXError::invalidUIElement) {
    return true;
  }
  const auto live = liveEquivalenceSignature(access_, item.axElement);
  if (live && *live != equivalenceSignature(item)) {
    TavikComputerUseLogger::info(LogCategory::accessibility, "element_drift_detected", fieldsOf(item, index));
    return true;
  }
  if (monitor->isInvalidated()) {
    TavikComputerUseLogger::debug(LogCategory::accessibility, "monitor_invalidation_ignored",
                                  fieldsOf(item, index, {{"reason", "element_still_valid"}}));
  }
  return false;
}

std::shared_ptr<RefetchableUIElement> RefetchableAppStateAXTree::refetchElement(const Item& item,
                                                                                std::int64_t index) {
  const auto fail = [&](Kind kind, LogFields fields) -> Error {
    TavikComputerUseLogger::warning(LogCategory::accessibility, "refetch_failed", fields);
    return Error(kind);
  };
  // Of two equal rows in the old tree none can be told from the other in a new one.
  if (collectEquivalentCandidates(item, *tree()).size() >= 2) {
    throw fail(Kind::elementAmbiguousBeforeRefetch, {{"reason", "ambiguous_before_refetch"}});
  }
  auto newTree = treeBuilder_();
  transformations_.transform(*newTree);
  const auto candidates = collectEquivalentCandidates(item, *newTree);
  if (candidates.empty()) {
    throw fail(Kind::elementNoLongerValidAfterRefetch, {{"reason", "element_not_found"}, {"candidates", 0}});
  }
  if (candidates.size() >= 2) {
    throw fail(Kind::elementAmbiguousAfterRefetch,
               {{"reason", "ambiguous_after_refetch"}, {"candidates", candidates.size()}});
  }
  TavikComputerUseLogger::info(
      LogCategory::accessibility, "refetch_finished",
      fieldsOf(item, index, {{"outcome", "success"}, {"candidates", candidates.size()}}));

  auto monitor = UIElementTreeInvalidationMonitor::create(access_.port());
  try {
    monitor->startMonitoring(*newTree);
  } catch (const UIElementError&) {
    // As in the constructor.
  }
  auto selection = currentSystemSelection(*newTree);
  replaceTreeState(std::move(newTree), std::move(selection), std::move(monitor));
  return std::make_shared<RefetchableUIElement>(candidates.front());
}

void RefetchableAppStateAXTree::updateTree(std::shared_ptr<UIElementTree> newTree) {
  auto selection = currentSystemSelection(*newTree);
  auto monitor = UIElementTreeInvalidationMonitor::create(access_.port());
  monitor->startMonitoring(*newTree);
  replaceTreeState(std::move(newTree), std::move(selection), std::move(monitor));
}

void RefetchableAppStateAXTree::replaceTreeState(std::shared_ptr<UIElementTree> tree,
                                                 std::shared_ptr<RefetchableUIElement> systemSelection,
                                                 std::shared_ptr<UIElementTreeInvalidationMonitor> monitor) {
  {
    MutexLock lock(lock_);
    tree_.swap(tree);
    systemSelection_.swap(systemSelection);
    invalidationMonitor_.swap(monitor);
  }
  monitor->stopMonitoring();
}

}  // namespace tavik
