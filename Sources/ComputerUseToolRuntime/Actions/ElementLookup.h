#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "AccessibilitySupport/Tree/UIElementTree.h"
#include "ComputerUseToolRuntime/Service/ToolSession.h"

namespace tavik {

/// The way from the number that the model gives to the element that it saw. Any thread.
class ElementLookup {
 public:
  explicit ElementLookup(ToolSession& session) : session_(session) {}

  /// The item of the last state, found again in the live application; its element is
  /// never null. Throws `ToolError` when there is no state, or when what the model saw
  /// is gone or could be several; `CancellationError`.
  std::shared_ptr<UIElementTree::Item> findElement(std::int64_t index);

 private:
  ToolSession& session_;
};

/// The elements around an index, as the model knows them, to choose another from;
/// empty when the tree holds none.
std::string nearbyElementDescriptions(std::int64_t index, const UIElementTree& tree);

}  // namespace tavik
