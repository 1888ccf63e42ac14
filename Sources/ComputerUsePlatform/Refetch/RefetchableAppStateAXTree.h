#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>

#include "AccessibilitySupport/Tree/UIElementTree.h"
#include "AccessibilitySupport/Tree/UIElementTreeTransformationRunner.h"
#include "Base/Concurrency/Mutex.h"
#include "ComputerUsePlatform/Refetch/UIElementTreeInvalidationMonitor.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

/// One element of a tree, as it was handed out.
class RefetchableUIElement {
 public:
  explicit RefetchableUIElement(std::shared_ptr<UIElementTree::Item> item) : item(std::move(item)) {}

  const std::shared_ptr<UIElementTree::Item> item;
  bool isInvalidated = false;
};

/// The tree that the model's element indices belong to, and the way from an index
/// that was read some seconds ago to the live element. An element that is no longer
/// what the model saw is looked for in a tree that is read anew; when two elements
/// could be meant, none is given.
///
/// Any thread. Reading the tree anew blocks as the builder does; of two at once the
/// later tree stays and both callers get their element.
class RefetchableAppStateAXTree {
 public:
  /// Gives a new raw tree: the same build, with the same root and limits, that made
  /// the first one. May throw.
  using TreeBuilder = std::function<std::shared_ptr<UIElementTree>()>;

  class Error : public std::exception, public LoggableError {
   public:
    enum class Kind {
      elementNotFound,
      elementInvalidated,
      elementAmbiguousBeforeRefetch,
      elementNoLongerValidAfterRefetch,
      elementAmbiguousAfterRefetch,
      missingInvalidationMonitor,
    };
    explicit Error(Kind kind) : kind_(kind) {}
    Kind kind() const { return kind_; }
    /// For the model.
    const char* description() const;
    const char* what() const noexcept override { return description(); }
    LoggedError loggedError() const override;

   private:
    Kind kind_;
  };

  /// `tree` is transformed already. An application that cannot be observed is looked
  /// at element by element all the same.
  RefetchableAppStateAXTree(AXWrapper& access, const UIElementTreeTransformationRunner& transformations,
                            std::shared_ptr<UIElementTree> tree, std::int32_t pid, TreeBuilder treeBuilder);
  ~RefetchableAppStateAXTree();
  RefetchableAppStateAXTree(const RefetchableAppStateAXTree&) = delete;
  RefetchableAppStateAXTree& operator=(const RefetchableAppStateAXTree&) = delete;

  std::int32_t pid() const { return pid_; }
  std::shared_ptr<UIElementTree> tree() const;
  /// The focused, else the first selected element; null when there is none.
  std::shared_ptr<RefetchableUIElement> systemSelection() const;

  /// The live element of an index. Throws `Error`, and whatever the builder throws;
  /// the old tree then stays.
  std::shared_ptr<RefetchableUIElement> element(std::int64_t index);

  /// Installs a tree that the caller built and transformed. Throws `UIElementError`
  /// when the application cannot be observed.
  void updateTree(std::shared_ptr<UIElementTree> newTree);

 private:
  using Item = UIElementTree::Item;

  bool checkInvalidation(const Item& item, std::int64_t index);
  std::shared_ptr<RefetchableUIElement> refetchElement(const Item& item, std::int64_t index);
  std::shared_ptr<UIElementTreeInvalidationMonitor> invalidationMonitor() const;
  void replaceTreeState(std::shared_ptr<UIElementTree> tree, std::shared_ptr<RefetchableUIElement> systemSelection,
                        std::shared_ptr<UIElementTreeInvalidationMonitor> monitor);
  LogFields fieldsOf(const Item& item, std::int64_t index, LogFields more = {}) const;

  AXWrapper& access_;
  const UIElementTreeTransformationRunner& transformations_;
  const std::int32_t pid_;
  const TreeBuilder treeBuilder_;

  mutable Mutex lock_;
  std::shared_ptr<UIElementTree> tree_;
  std::shared_ptr<RefetchableUIElement> systemSelection_;
  std::shared_ptr<UIElementTreeInvalidationMonitor> invalidationMonitor_;
};

}  // namespace tavik
