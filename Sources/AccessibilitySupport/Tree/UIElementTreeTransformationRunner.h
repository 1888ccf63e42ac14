#pragma once

#include <memory>

#include "AccessibilitySupport/Tree/UIElementTree.h"
#include "AccessibilitySupport/Tree/UIElementTreeTransformation.h"
#include "PlatformInterfaces/WorkspacePort.h"

namespace tavik {

/// Turns a built tree, in place, into the shape that the model reads, and numbers it.
/// Four passes ask the live elements of the tree, as far as it has any; whatever they
/// answer, no pass fails. Runs once on a tree, right after the build.
class UIElementTreeTransformationRunner {
 public:
  /// The workspace tells which application an item belongs to. It must outlive this.
  explicit UIElementTreeTransformationRunner(WorkspacePort& workspace) : workspace_(workspace) {}

  /// Applies every pass in order and assigns the indices.
  void transform(UIElementTree& tree) const;

  /// Applies one pass to all items below `parent`, but not to `parent` itself.
  void applyPass(UIElementTreeTransformation transformation,
                 const std::shared_ptr<UIElementTreeItem>& parent) const;

 private:
  UIElementTreePass pass(UIElementTreeTransformation transformation) const;

  WorkspacePort& workspace_;
};

}  // namespace tavik
