#pragma once

#include "AccessibilitySupport/Tree/UIElementTreeItem.h"

namespace tavik {

/// Where an item stands with respect to the nearest web page above it. A walk hands
/// it down level by level; for a single item it is found by going up.
struct WebSurroundings {
  /// An ancestor is the root of a web page.
  bool isInsideWebRoot = false;
  /// One more than the number of layout elements between the item and that root.
  int layoutDepth = 1;

  /// The surroundings of one item.
  static WebSurroundings of(const UIElementTreeItem& item);
  /// The surroundings of the children of an item that has these.
  WebSurroundings below(const UIElementTreeItem& item) const;
};

bool isWebRoot(const UIElementTreeItem& item);

/// `UIElementTreeItem::appStateIsWebLayoutContainer` for an item whose surroundings
/// are known.
bool isWebLayoutContainer(const UIElementTreeItem& item, const WebSurroundings& surroundings);

}  // namespace tavik
