#pragma once

#include <string>

#include "Backends/Linux/Accessibility/AccessibleFacts.h"
#include "Backends/Linux/Accessibility/Toolkit.h"

namespace tavik {

/// One object as the translation sees it: what has been read of it and the little
/// that must be known of what surrounds it.
struct NodeView {
  const AccessibleFacts& facts;
  Toolkit toolkit = Toolkit::other;
  AccessibleRole parentRole = AccessibleRole::invalid;
  /// A direct child of its application.
  bool isTopLevel = false;
  /// Stands in a line with other cells, directly in its table.
  bool isInLine = false;
  /// A combination box with a text field of its own.
  bool containsEntry = false;
  /// Below the title of a menu that is read without being open.
  bool isInClosedMenu = false;
};

/// Whether the object's states let it be on screen. What is laid out without any
/// room shows in its extents only.
bool mayShow(const NodeView& node);

/// Whether the object and what is below it are on screen.
bool isShowing(const NodeView& node);

/// Whether the object takes the keys, when its window does.
bool hasFocus(const NodeView& node);

/// Whether `isShowing` looks at the extents of this toolkit's objects.
bool judgedByExtents(Toolkit toolkit);

/// A button that only holds the button which does something.
bool isShell(const NodeView& node);

/// The object's name without what a toolkit puts there for want of a name.
std::string displayName(const NodeView& node);

/// What a person would read in the object: the text of a text field, the words of
/// a label.
std::string displayText(const NodeView& node);

/// Whether a role is one whose content is its text.
bool isTextRole(AccessibleRole role);
/// One of the kinds of menu items.
bool isMenuItemRole(AccessibleRole role);
/// A menu, or what may stand in one.
bool isMenuPart(AccessibleRole role);
/// A cell that stands directly in its table or tree, without a row around it.
bool isCellRole(AccessibleRole role);
/// A table, a tree or a list.
bool isRowContainerRole(AccessibleRole role);

/// What the translation needs to know of an object of this kind, beyond the base
/// facets, to answer a whole-tree reading.
Facets detailFacets(const NodeView& node);

}  // namespace tavik
