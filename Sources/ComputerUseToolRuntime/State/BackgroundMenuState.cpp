#include "ComputerUseToolRuntime/State/BackgroundMenuState.h"

#include <algorithm>

namespace tavik {

namespace {

constexpr int treeDepth = 50;
constexpr Duration treeTimeout = milliseconds(5000);

bool showsAMenu(const UIElementTree& tree) {
  if (tree.rootItem->role != "AXMenuBarItem") return false;
  return std::ranges::any_of(tree.rootItem->childItems, [](const auto& child) {
    return child->role == "AXMenu" && !child->childItems.empty();
  });
}

}  // namespace

bool BackgroundMenuState::enqueueIfAvailable(const AXElement& menuBarItem, std::int32_t pid) {
  const auto session = session_.currentSession();
  if (!session) return false;
  const auto readScope = access_.port().beginReadScope(menuBarItem);
  auto tree = UIElementTree::build(access_, scheduler_, pid, menuBarItem, treeDepth, treeTimeout);
  transformations_.transform(*tree);
  if (!showsAMenu(*tree)) return false;
  queues_.enqueuePendingMenu({.appQuery = session->appQuery,
                              .bundleIdentifier = session->bundleIdentifier,
                              .pid = pid,
                              .tree = std::move(tree),
                              .sourceElement = menuBarItem,
                              .createdAt = scheduler_.now()});
  return true;
}

}  // namespace tavik
