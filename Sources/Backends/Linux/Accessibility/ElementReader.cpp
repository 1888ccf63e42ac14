#include "Backends/Linux/Accessibility/ElementReader.h"

#include <algorithm>
#include <cmath>
#include <unordered_set>

#include "Backends/Linux/Accessibility/TextUnits.h"
#include "Base/Text/Text.h"

namespace tavik {

namespace {

using Role = AccessibleRole;
using State = AccessibleState;
using Kind = LinuxElement::Kind;

/// No interface is nested deeper than this; a chain of parents that is longer goes
/// in a circle.
constexpr int longestAncestry = 512;

/// How deep below a window its menu bar may stand.
constexpr int deepestMenuBar = 6;

/// What one node is asked for when it is not part of a whole-tree reading.
constexpr Facets singleNodeFacets = baseFacets | parentFacet | extentsFacet | actionsFacet | valueFacet;

bool dependsOnParent(Role role) {
  return role == Role::menu || isMenuItemRole(role) || role == Role::separator || role == Role::tableRow ||
         isCellRole(role);
}

/// What a cell that stands in a line does to its whole row, the row offers.
bool isActionOfRow(const NodeView& cell, const ActionTranslation& action) {
  bool hasBox = ownActionNumber(cell.facts, {"toggle"}).has_value();
  return action.name == "AXConfirm" || (action.name == "AXPress" && !hasBox);
}

/// Whether two cells stand on one line: they overlap by more than half of a height.
bool shareLine(const Rect& a, const Rect& b) {
  if (a.isNull() || b.isNull()) return false;
  double overlap = std::min(a.maxY(), b.maxY()) - std::max(a.minY(), b.minY());
  return overlap > 0.5 * std::min(a.size.height, b.size.height);
}

/// Whether the two sizes differ by no more than what stands around a window.
bool mayBeTheSameWindow(Size a, Size b) {
  constexpr double widestBorder = 100;
  return std::abs(a.width - b.width) <= widestBorder && std::abs(a.height - b.height) <= widestBorder;
}

}  // namespace

ElementReader::ElementReader(AccessibleTree& tree, WindowPlacement& placement, std::int32_t pid)
    : tree_(tree), placement_(placement), pid_(pid) {}

LinuxElement ElementReader::object(const AccessibleReference& reference) const {
  return {.kind = Kind::object, .pid = pid_, .object = reference, .anchor = {}};
}

AXErrorCode ElementReader::prepare(const LinuxElement& element) {
  if (element.kind == Kind::systemWide) return AXError::success;
  if (element.kind != Kind::application) {
    Facets facets = tree_.isPrefetched() ? Facets{baseFacets | parentFacet} : singleNodeFacets;
    const AccessibleFacts& facts = tree_.read(element.object, facets);
    if (facts.failure == AXError::success && facts.is(State::defunct)) return AXError::invalidUIElement;
    return facts.failure;
  }
  AXErrorCode code = AXError::invalidUIElement;
  for (const AccessibleApplication& application : tree_.applications()) {
    code = tree_.read(application.root, baseFacets).failure;
    if (code == AXError::success) break;
  }
  return code;
}

NodeView ElementReader::view(const AccessibleReference& reference, Facets facets) {
  const AccessibleFacts& facts = tree_.read(reference, baseFacets | parentFacet | facets);
  NodeView node{.facts = facts, .toolkit = tree_.toolkit(reference)};
  node.isTopLevel = tree_.isRoot(facts.parent);
  node.isInClosedMenu = tree_.readsClosedMenus() && isMenuPart(facts.role);
  if (dependsOnParent(facts.role) && !facts.parent.isNull()) {
    node.parentRole = tree_.read(facts.parent, roleFacet).role;
    node.isInLine = isCellRole(facts.role) && isRowContainerRole(node.parentRole) && isLined(facts.parent);
  }
  if (facts.role == Role::comboBox) {
    for (const AccessibleReference& child : tree_.read(reference, childrenFacet).children) {
      if (isTextRole(tree_.read(child, roleFacet).role)) node.containsEntry = true;
    }
  }
  return node;
}

RoleTranslation ElementReader::role(const LinuxElement& element) {
  switch (element.kind) {
    case Kind::systemWide:
      return systemWideRole;
    case Kind::application:
      return applicationRole;
    case Kind::menu:
      return menuRole;
    case Kind::row:
      return tree_.read(element.object, roleFacet).role == Role::table ? tableRowRole : outlineRowRole;
    case Kind::object:
      return translateRole(view(element.object));
  }
  return systemWideRole;
}

// Structure.

std::vector<AccessibleReference> ElementReader::shownChildren(const AccessibleReference& reference,
                                                              Facets facets) {
  std::vector<AccessibleReference> children = tree_.read(reference, childrenFacet).children;
  auto viewOf = [&](const AccessibleReference& child) {
    return NodeView{.facts = tree_.read(child, 0),
                    .toolkit = tree_.toolkit(child),
                    .isTopLevel = tree_.isRoot(reference),
                    .isInClosedMenu = tree_.readsClosedMenus()};
  };
  // Most children of most containers are hidden; nothing more is asked of those.
  tree_.readAll(children, statesFacet);
  std::unordered_set<AccessibleReference> met;
  std::erase_if(children,
                [&](const auto& child) { return !mayShow(viewOf(child)) || !met.insert(child).second; });
  if (judgedByExtents(tree_.toolkit(reference))) facets |= extentsFacet;
  tree_.readAll(children, baseFacets | facets);
  std::erase_if(children, [&](const auto& child) {
    NodeView node = viewOf(child);
    return node.facts.failure != AXError::success || !isShowing(node);
  });
  return children;
}

bool ElementReader::isLined(const AccessibleReference& container) {
  const AccessibleFacts& facts = tree_.read(container, baseFacets | columnsFacet | childrenFacet);
  if (facts.role == Role::list || facts.role == Role::listBox) return false;
  for (const AccessibleReference& child : facts.children) {
    switch (tree_.read(child, roleFacet).role) {
      case Role::tableCell:
      case Role::tableRowHeader:
      case Role::rowHeader:
        return true;
      case Role::treeItem:
        return facts.columnCount > 1;
      case Role::tableColumnHeader:
      case Role::columnHeader:
        continue;
      default:
        return false;
    }
  }
  return false;
}

const std::vector<std::vector<AccessibleReference>>& ElementReader::lines(
    const AccessibleReference& container) {
  auto [note, isNew] = tree_.notes.lines.try_emplace(container);
  std::vector<std::vector<AccessibleReference>>& result = note->second;
  if (!isNew) return result;
  Rect lastFrame = Rect::null();
  for (const AccessibleReference& cell : shownChildren(container, extentsFacet)) {
    const AccessibleFacts& facts = tree_.read(cell, roleFacet | extentsFacet);
    if (!isCellRole(facts.role)) continue;
    if (result.empty() || !shareLine(lastFrame, facts.extents)) result.emplace_back();
    result.back().push_back(cell);
    lastFrame = facts.extents;
  }
  return result;
}

std::vector<AccessibleReference> ElementReader::cells(const LinuxElement& row) {
  for (const std::vector<AccessibleReference>& line : lines(row.object)) {
    if (line.front().path == row.anchor) return line;
  }
  return {};
}

bool ElementReader::holdsItems(const NodeView& node) {
  bool isTitle = node.parentRole == Role::menuBar || node.parentRole == Role::menu;
  return node.facts.role == Role::menu && isTitle;
}

std::vector<LinuxElement> ElementReader::applicationChildren() {
  std::vector<LinuxElement> result;
  for (const AccessibleApplication& application : tree_.applications()) {
    for (const AccessibleReference& child : shownChildren(application.root)) {
      const AccessibleFacts& facts = tree_.read(child, baseFacets);
      // Browsers keep the frames of pop-ups that are not on screen.
      if (application.toolkit == Toolkit::chromium && facts.role == Role::frame && facts.name.empty() &&
          !facts.is(State::active)) {
        continue;
      }
      if (facts.role == Role::window) {
        // A window made for one menu stands for that menu.
        std::vector<AccessibleReference> content = shownChildren(child);
        if (content.size() == 1 && tree_.read(content.front(), roleFacet).role == Role::menu) {
          result.push_back(object(content.front()));
          continue;
        }
      }
      result.push_back(object(child));
    }
  }
  return result;
}

std::vector<LinuxElement> ElementReader::children(const LinuxElement& element) {
  std::vector<LinuxElement> result;
  auto addAll = [&](const std::vector<AccessibleReference>& references) {
    for (const AccessibleReference& reference : references) result.push_back(object(reference));
  };
  switch (element.kind) {
    case Kind::systemWide:
      return result;
    case Kind::application:
      return applicationChildren();
    case Kind::row:
      addAll(cells(element));
      return result;
    case Kind::menu:
      addAll(shownChildren(element.object));
      return result;
    case Kind::object:
      break;
  }
  NodeView node = view(element.object, childrenFacet);
  if (holdsItems(node)) {
    if (!shownChildren(element.object).empty()) {
      result.push_back({.kind = Kind::menu, .pid = pid_, .object = element.object, .anchor = {}});
    }
    return result;
  }
  if (isRowContainerRole(node.facts.role) && isLined(element.object)) {
    for (const AccessibleReference& child : shownChildren(element.object)) {
      if (!isCellRole(tree_.read(child, roleFacet).role)) result.push_back(object(child));
    }
    for (const auto& line : lines(element.object)) {
      result.push_back(
          {.kind = Kind::row, .pid = pid_, .object = element.object, .anchor = line.front().path});
    }
    return result;
  }
  addAll(shownChildren(element.object));
  return result;
}

std::optional<LinuxElement> ElementReader::elementFor(const AccessibleReference& reference) {
  if (reference.isNull()) return std::nullopt;
  if (tree_.isRoot(reference)) {
    return LinuxElement{.kind = Kind::application, .pid = pid_, .object = {}, .anchor = {}};
  }
  return object(reference);
}

std::optional<LinuxElement> ElementReader::parent(const LinuxElement& element) {
  if (element.kind == Kind::systemWide || element.kind == Kind::application) return std::nullopt;
  if (element.kind != Kind::object) return object(element.object);
  NodeView node = view(element.object);
  const AccessibleReference& above = node.facts.parent;
  if (node.isInLine) {
    for (const auto& line : lines(above)) {
      if (std::find(line.begin(), line.end(), element.object) != line.end()) {
        return LinuxElement{.kind = Kind::row, .pid = pid_, .object = above, .anchor = line.front().path};
      }
    }
  }
  bool isItem =
      node.facts.role == Role::menu || isMenuItemRole(node.facts.role) || node.facts.role == Role::separator;
  if (isItem && node.parentRole == Role::menu && holdsItems(view(above))) {
    return LinuxElement{.kind = Kind::menu, .pid = pid_, .object = above, .anchor = {}};
  }
  return elementFor(above);
}

std::optional<LinuxElement> ElementReader::window(const LinuxElement& element) {
  AccessibleReference current = element.object;
  for (int step = 0; step < longestAncestry && !current.isNull() && !tree_.isRoot(current); ++step) {
    const AccessibleFacts& facts = tree_.read(current, parentFacet);
    if (tree_.isRoot(facts.parent)) return object(current);
    current = facts.parent;
  }
  return std::nullopt;
}

std::vector<LinuxElement> ElementReader::windows() {
  std::vector<LinuxElement> result = applicationChildren();
  std::erase_if(result,
                [&](const LinuxElement& child) { return std::string_view(role(child).role) != "AXWindow"; });
  return result;
}

std::optional<LinuxElement> ElementReader::mainWindow() {
  std::vector<LinuxElement> all = windows();
  auto isActive = [&](const LinuxElement& window) { return view(window.object).facts.is(State::active); };
  auto active = std::find_if(all.begin(), all.end(), isActive);
  if (active != all.end()) return *active;
  return all.empty() ? std::nullopt : std::optional(all.front());
}

std::optional<LinuxElement> ElementReader::menuBar() {
  std::optional<LinuxElement> window = mainWindow();
  if (!window) return std::nullopt;
  std::vector<AccessibleReference> level{window->object};
  for (int depth = 0; depth < deepestMenuBar && !level.empty(); ++depth) {
    tree_.readAll(level, childrenFacet);
    std::vector<AccessibleReference> next;
    for (const AccessibleReference& reference : level) {
      const auto& below = tree_.read(reference, childrenFacet).children;
      next.insert(next.end(), below.begin(), below.end());
    }
    tree_.readAll(next, baseFacets | parentFacet);
    std::erase_if(next, [&](const AccessibleReference& child) { return !mayShow(view(child)); });
    for (const AccessibleReference& child : next) {
      if (tree_.read(child, roleFacet).role == Role::menuBar) return object(child);
    }
    level = std::move(next);
  }
  return std::nullopt;
}

std::optional<LinuxElement> ElementReader::shownMenu(const LinuxElement& element) {
  for (const LinuxElement& child : children(element)) {
    if (std::string_view(role(child).role) == "AXMenu") return child;
  }
  return std::nullopt;
}

std::optional<LinuxElement> ElementReader::focusedElement(
    const std::optional<AccessibleReference>& lastKnown) {
  auto isFocused = [&](const AccessibleReference& reference) {
    const AccessibleFacts& facts = tree_.read(reference, baseFacets | parentFacet | extentsFacet);
    return facts.failure == AXError::success && hasFocus(view(reference)) && isShowing(view(reference)) &&
           !facts.extents.isEmpty();
  };
  std::vector<AccessibleReference> unread;
  for (const LinuxElement& window : windows()) {
    if (!tree_.isPrefetched(window.object)) unread.push_back(window.object);
  }
  for (const AccessibleApplication& application : tree_.applications()) {
    if (tree_.isPrefetched(application.root)) unread.clear();
  }
  if (!unread.empty()) {
    if (lastKnown && isFocused(*lastKnown)) return elementFor(*lastKnown);
    tree_.prefetch(unread);
  }
  // Containers may claim the focus along with what they contain: the deepest has it.
  std::optional<AccessibleReference> deepest;
  int greatestDepth = -1;
  for (const AccessibleReference& candidate : tree_.objectsWith(State::focused)) {
    if (!isFocused(candidate)) continue;
    int depth = 0;
    AccessibleReference current = candidate;
    while (depth < longestAncestry && !current.isNull() && !tree_.isRoot(current)) {
      current = tree_.read(current, parentFacet).parent;
      ++depth;
    }
    if (depth > greatestDepth) {
      greatestDepth = depth;
      deepest = candidate;
    }
  }
  return deepest ? elementFor(*deepest) : std::nullopt;
}

// Geometry.

std::optional<PlacedWindow> ElementReader::placement(const AccessibleReference& topLevel) {
  auto [note, isNew] = tree_.notes.placements.try_emplace(topLevel);
  if (isNew) {
    const AccessibleFacts& facts = tree_.read(topLevel, baseFacets | extentsFacet);
    note->second = placement_.window(pid_, facts.name, facts.extents.isNull() ? Size{} : facts.extents.size);
  }
  return note->second;
}

std::optional<Rect> ElementReader::frame(const LinuxElement& element) {
  switch (element.kind) {
    case Kind::systemWide:
    case Kind::application:
      return std::nullopt;
    case Kind::row:
    case Kind::menu: {
      Rect whole = Rect::null();
      for (const LinuxElement& child : children(element)) {
        if (std::optional<Rect> part = frame(child)) whole = whole.unionWith(*part);
      }
      return whole.isNull() ? std::nullopt : std::optional(whole);
    }
    case Kind::object:
      break;
  }
  Rect extents = tree_.read(element.object, baseFacets | extentsFacet).extents;
  if (extents.isNull()) return std::nullopt;
  // Some toolkits count the window manager's title bar in, some leave their own border out.
  if (std::string_view(role(element).role) == "AXWindow") {
    std::optional<PlacedWindow> placed = placement(element.object);
    return placed && mayBeTheSameWindow(placed->frame.size, extents.size) ? placed->frame : extents;
  }
  // GTK 4 does not know where its windows are, and counts from inside their border.
  if (tree_.toolkit(element.object) == Toolkit::gtk4) {
    std::optional<LinuxElement> top = window(element);
    std::optional<PlacedWindow> placed = top ? placement(top->object) : std::nullopt;
    if (placed) {
      const Rect& own = tree_.read(top->object, extentsFacet).extents;
      extents.origin.x += placed->frame.center().x - own.center().x;
      extents.origin.y += placed->frame.center().y - own.center().y;
    }
  }
  return extents;
}

// Selection.

bool ElementReader::isSelected(const LinuxElement& element) {
  if (element.kind == Kind::object) return view(element.object).facts.is(State::selected);
  if (element.kind != Kind::row) return false;
  std::vector<AccessibleReference> line = cells(element);
  return std::any_of(line.begin(), line.end(),
                     [&](const AccessibleReference& cell) { return view(cell).facts.is(State::selected); });
}

std::vector<LinuxElement> ElementReader::selectedChildren(const LinuxElement& element) {
  std::vector<LinuxElement> result = children(element);
  std::erase_if(result, [&](const LinuxElement& child) { return !isSelected(child); });
  return result;
}

std::string ElementReader::chosenOption(const AccessibleReference& comboBox) {
  std::vector<AccessibleReference> level = tree_.read(comboBox, childrenFacet).children;
  // The options stand in the list, or in the menu, of the box.
  for (int depth = 0; depth < 2 && !level.empty(); ++depth) {
    tree_.readAll(level, baseFacets | childrenFacet);
    std::vector<AccessibleReference> next;
    for (const AccessibleReference& reference : level) {
      const AccessibleFacts& facts = tree_.read(reference, baseFacets | childrenFacet);
      if (facts.is(State::selected) && !facts.name.empty()) return facts.name;
      next.insert(next.end(), facts.children.begin(), facts.children.end());
    }
    level = std::move(next);
  }
  return "";
}

// Text.

std::optional<TextRange> ElementReader::visibleRange(const LinuxElement& element) {
  const AccessibleFacts& facts = view(element.object, textFacet | extentsFacet).facts;
  TextRange whole{0, text::utf16Length(facts.text)};
  bool mayScroll = facts.is(State::multiLine) && !facts.extents.isNull() && !facts.extents.isEmpty();
  // GTK 4 looks for the place on a screen that it does not know.
  if (!mayScroll || tree_.toolkit(element.object) == Toolkit::gtk4) return whole;
  constexpr double margin = 2;
  Rect inner = facts.extents.inset(margin, margin);
  if (inner.isNull()) return whole;
  std::optional<long> first = tree_.textOffset(element.object, {inner.minX(), inner.minY()});
  std::optional<long> last = tree_.textOffset(element.object, {inner.maxX(), inner.maxY()});
  if (!first || !last || *last < *first) return whole;
  return utf16Range(facts.text, *first, *last + 1);
}

// Actions.

std::vector<ActionTranslation> ElementReader::rowActions(const LinuxElement& row) {
  std::vector<ActionTranslation> result;
  for (const AccessibleReference& cell : cells(row)) {
    NodeView node = view(cell, actionsFacet);
    for (ActionTranslation& action : translateActions(node)) {
      if (!isActionOfRow(node, action)) continue;
      action.cell = cell;
      result.push_back(std::move(action));
    }
    if (!result.empty()) break;
  }
  return result;
}

std::vector<ActionTranslation> ElementReader::actions(const LinuxElement& element) {
  if (element.kind == Kind::row) return rowActions(element);
  if (element.kind != Kind::object) return {};
  bool isSampled = tree_.isPrefetched() && tree_.toolkit(element.object) == Toolkit::chromium;
  NodeView node = view(element.object, isSampled ? firstActionFacet : actionsFacet);
  std::vector<ActionTranslation> result = translateActions(node);
  if (node.isInLine) std::erase_if(result, [&](const auto& action) { return isActionOfRow(node, action); });
  return result;
}

}  // namespace tavik
