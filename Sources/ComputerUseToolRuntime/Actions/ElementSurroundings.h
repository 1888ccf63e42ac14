#pragma once

#include <optional>

#include "AccessibilitySupport/Access/LiveElementReader.h"
#include "AccessibilitySupport/Tree/UIElementTree.h"

namespace tavik {

/// Whether `ancestor` is the element itself or found above it, a few steps up.
bool axElementIsDescendant(const AXElement& element, const AXElement& ancestor, const LiveElementReader& reader);

/// Whether the element belongs to a page, as its live surroundings tell.
bool axElementIsInsideWebContent(const AXElement& element, const LiveElementReader& reader);
/// The same by the tree where it can tell, and else by the live element.
bool isInsideWebContent(const UIElementTree::Item& item, const LiveElementReader& reader);

/// A point of the screen that really hits the element, for elements that are partly
/// covered or whose middle belongs to a child: the mean of those points of a raster
/// that hit it. Absent when none does, or the element tells no frame. Blocks for some
/// thousand questions; throws `CancellationError`.
std::optional<Point> elementScreenPosition(const AXElement& element, AXWrapper& access, Scheduler& scheduler);

/// Roles whose own place is mostly taken by the elements inside them.
bool isRowOrCell(const std::optional<std::string>& role);

}  // namespace tavik
