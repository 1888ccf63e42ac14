#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "AccessibilitySupport/Access/LiveElementReader.h"
#include "AccessibilitySupport/Tree/UIElementTree.h"
#include "AccessibilitySupport/Tree/UIElementTreeTransformationRunner.h"

namespace tavik {

/// A tree that has a text, however little, and how it came to that.
struct SerializableAppState {
  std::shared_ptr<UIElementTree> tree;
  /// Empty when all recovery was in vain.
  std::string text;
  /// "none", "minimal_indices" or "application_root".
  std::string recovery = "none";
};

/// Finds the root that is worth showing: an open menu, a better window, the whole
/// application; and adds the menu bar, so that its menus can be named.
///
/// Asks live elements, which answer within their messaging time-out; throws only
/// `CancellationError`. Any thread.
class StateRootSelector {
 public:
  /// Set to "1" it lets the log tell how roots are chosen.
  static constexpr const char* traceVariable = "TAVIK_CUA_TRACE_STATE_ROOTS";
  using Tree = std::shared_ptr<UIElementTree>;

  StateRootSelector(AXWrapper& access, const UIElementTreeTransformationRunner& transformations, Scheduler& scheduler,
                    const std::optional<std::string>& traceSetting);

  Tree normalizedStateTree(std::int32_t pid, const Tree& replacing);
  /// Gives a tree whose text came out empty some text, with indices that can be used.
  SerializableAppState recoverEmptySerializedAppState(std::int32_t pid, const Tree& tree);

  /// The open menu that has the focus, as a tree of its own; null when there is none.
  Tree menuFocusedTreeIfPresent(std::int32_t pid, const Tree& tree);
  /// An open menu outside the tree; null when there is none.
  Tree activeMenuTreeIfPresent(std::int32_t pid, const Tree& tree);
  std::vector<Tree> alternativeStateRootTrees(std::int32_t pid, const Tree& tree);
  Tree stateTreeWithMenuBarContextIfAvailable(std::int32_t pid, const Tree& current);

  // On live elements

  /// The windows and web areas around an element, nearest first.
  std::vector<AXElement> focusedElementStateRoots(const AXElement& element);
  /// The titles of the menu bar whose menus are open.
  std::vector<AXElement> activeMenuBarItems(const AXElement& application);

 private:
  Tree buildTransformed(std::int32_t pid, const std::optional<AXElement>& root);
  std::vector<std::shared_ptr<UIElementTree::Item>> menuBarContext(std::int32_t pid);
  AXElement menuBarOf(const AXElement& application);
  bool hasVisibleMenu(const AXElement& menuBarItem);
  AXElement activeMenuBarItemWithMenu(std::int32_t pid);
  AXElement activeShownMenuElement(std::int32_t pid);
  bool focusedElementMayBeInActiveMenu(std::int32_t pid);
  void traceStateRootSelection(const std::string& reason);

  AXWrapper& access_;
  const LiveElementReader reader_;
  const UIElementTreeTransformationRunner& transformations_;
  Scheduler& scheduler_;
  const bool traces_;
};

/// Each element once, where it first stands.
std::vector<AXElement> deduplicatedAXElements(const std::vector<AXElement>& elements);

}  // namespace tavik
