#include "Backends/Linux/Accessibility/NodeView.h"

#include <algorithm>
#include <cctype>
#include <initializer_list>

#include "Base/Text/Text.h"

namespace tavik {

namespace {

using Role = AccessibleRole;
using State = AccessibleState;

bool isOneOf(Role role, std::initializer_list<Role> roles) {
  return std::find(roles.begin(), roles.end(), role) != roles.end();
}

/// Two or more words run together, each with a capital: "GtkBuiltinIcon".
bool looksLikeClassName(std::string_view name) {
  int words = 0;
  bool lowerBefore = false;
  for (char c : name) {
    auto byte = static_cast<unsigned char>(c);
    if (!std::isalnum(byte)) return false;
    if (std::isupper(byte) && (words == 0 || lowerBefore)) ++words;
    lowerBefore = std::islower(byte) != 0;
  }
  return words >= 2 && std::isupper(static_cast<unsigned char>(name.front()));
}

bool hasLibraryPrefix(std::string_view name) {
  for (std::string_view prefix : {"Gtk", "Adw", "Gdk", "Gsk"}) {
    if (name.starts_with(prefix)) return true;
  }
  return false;
}

/// GTK 4 names a widget without a label after its class.
bool isClassName(const NodeView& node) {
  const std::string& name = node.facts.name;
  if (name.empty() || !looksLikeClassName(name)) return false;
  return hasLibraryPrefix(name) ||
         isOneOf(node.facts.role, {Role::filler, Role::panel, Role::text, Role::scrollPane, Role::unknown,
                                   Role::drawingArea, Role::scrollBar});
}

/// "Page _1" to "Page 1"; "Di_scard Discard", a label with its mnemonic and the same
/// label without, to "Discard".
std::string withoutMnemonic(const std::string& name) {
  std::size_t mark = name.find('_');
  if (mark == std::string::npos || mark + 1 == name.size() || name.find('_', mark + 1) != std::string::npos) {
    return name;
  }
  std::string plain = name.substr(0, mark) + name.substr(mark + 1);
  std::size_t half = plain.size() / 2;
  bool isTwice = plain.size() % 2 == 1 && plain[half] == ' ' && plain.compare(0, half, plain, half + 1) == 0;
  if (isTwice) return plain.substr(0, half);
  bool startsWord = mark == 0 || name[mark - 1] == ' ';
  return startsWord ? plain : name;
}

/// Qt puts what lies behind a tab far off the screen and calls it visible.
bool isOffScreen(const Rect& extents) {
  return extents.maxX() <= 0 || extents.maxY() <= 0;
}

/// A leaf that is nothing without its text.
bool isBareText(const NodeView& node) {
  return isOneOf(node.facts.role, {Role::staticText, Role::label});
}

}  // namespace

bool isShell(const NodeView& node) {
  return node.toolkit == Toolkit::gtk4 && node.facts.role == Role::pushButton &&
         node.facts.knows(actionsFacet) && node.facts.actions.empty();
}

bool hasFocus(const NodeView& node) {
  // Qt says it of the tab in front too, and of the inside of what has the focus.
  bool isHollow = node.toolkit == Toolkit::qt && isOneOf(node.facts.role, {Role::pageTab, Role::filler});
  return node.facts.is(State::focused) && !isHollow;
}

bool judgedByExtents(Toolkit toolkit) {
  return toolkit == Toolkit::gtk4 || toolkit == Toolkit::qt || toolkit == Toolkit::chromium;
}

bool isTextRole(Role role) {
  return isOneOf(role, {Role::text, Role::entry, Role::passwordText, Role::terminal, Role::dateEditor,
                        Role::autocomplete, Role::editbar});
}

bool isMenuItemRole(Role role) {
  return isOneOf(role, {Role::menuItem, Role::checkMenuItem, Role::radioMenuItem, Role::tearoffMenuItem});
}

bool isCellRole(Role role) {
  return isOneOf(role,
                 {Role::tableCell, Role::treeItem, Role::tableRowHeader, Role::rowHeader, Role::listItem});
}

bool isRowContainerRole(Role role) {
  return isOneOf(role, {Role::table, Role::treeTable, Role::tree, Role::list, Role::listBox});
}

bool isMenuPart(Role role) {
  return isMenuItemRole(role) || isOneOf(role, {Role::menu, Role::popupMenu, Role::separator});
}

bool mayShow(const NodeView& node) {
  const AccessibleFacts& facts = node.facts;
  if (facts.is(State::defunct)) return false;
  if (node.isInClosedMenu) return true;
  if (node.isTopLevel && facts.is(State::iconified)) return true;
  if (node.toolkit == Toolkit::gtk4) return facts.is(State::visible);
  return facts.is(State::showing);
}

bool isShowing(const NodeView& node) {
  if (!mayShow(node)) return false;
  if (node.isInClosedMenu) return isMenuPart(node.facts.role);
  if (node.isTopLevel || !node.facts.has(componentInterface) || !node.facts.knows(extentsFacet)) return true;
  const Rect& extents = node.facts.extents;
  bool hasNoRoom = extents.isNull() || extents.isEmpty();
  switch (node.toolkit) {
    case Toolkit::gtk4:
      // Calls everything visible that is not hidden itself, wherever it is.
      return !hasNoRoom;
    case Toolkit::qt:
      return !hasNoRoom && !isOffScreen(extents);
    case Toolkit::chromium:
      // The white space between two elements is a text too.
      return !hasNoRoom || !isBareText(node);
    default:
      return true;
  }
}

std::string displayName(const NodeView& node) {
  if (node.toolkit == Toolkit::gtk4) {
    if (isClassName(node)) return "";
    return isShell(node) ? "" : withoutMnemonic(node.facts.name);
  }
  return text::trimmed(node.facts.name);
}

std::string displayText(const NodeView& node) {
  const AccessibleFacts& facts = node.facts;
  if (isTextRole(facts.role)) return facts.text;
  std::string name = displayName(node);
  return name.empty() ? facts.text : name;
}

Facets detailFacets(const NodeView& node) {
  const AccessibleFacts& facts = node.facts;
  Facets facets = childrenFacet | extentsFacet | valueFacet;
  // A browser offers the same actions on everything, save for the first.
  facets |= node.toolkit == Toolkit::chromium ? firstActionFacet : actionsFacet;
  bool isLabel = isOneOf(facts.role, {Role::label, Role::staticText, Role::tableCell});
  bool isControl = facts.interfaces & (editableTextInterface | valueInterface | selectionInterface);
  bool isNamed = !displayName(node).empty();
  bool isField = isTextRole(facts.role) || facts.role == Role::spinButton || facts.role == Role::comboBox;
  if (isTextRole(facts.role) || (isLabel && !isNamed)) facets |= textFacet;
  if (facts.role == Role::comboBox && facts.is(State::editable)) facets |= textFacet;
  if (isTextRole(facts.role)) facets |= attributesFacet;
  if (isRowContainerRole(facts.role)) facets |= columnsFacet;
  if (facts.role == Role::scrollBar) facets |= valueLimitsFacet;
  if ((isControl || isField) && !isNamed) facets |= labelFacet;
  if (facts.role == Role::link) facets |= linkFacet;
  if (facts.role == Role::documentWeb || facts.role == Role::documentFrame) facets |= documentFacet;
  return facets;
}

}  // namespace tavik
