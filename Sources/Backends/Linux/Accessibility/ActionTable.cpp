#include "Backends/Linux/Accessibility/ActionTable.h"

#include <algorithm>

namespace tavik {

namespace {

using Role = AccessibleRole;
using Condition = bool (*)(const NodeView& node);

bool always(const NodeView&) {
  return true;
}

bool onEntry(const NodeView& node) {
  return isTextRole(node.facts.role) || node.facts.role == Role::spinButton;
}

/// A cell is activated by a double click; its row stands for a single one.
bool onCell(const NodeView& node) {
  return node.facts.role == Role::tableCell;
}

/// Neither bare text nor a plain box.
bool isInteractive(const NodeView& node) {
  return node.facts.is(AccessibleState::focusable) || node.facts.is(AccessibleState::selectable);
}

bool opensByShowMenu(const NodeView& node) {
  return node.facts.role == Role::menu || isMenuItemRole(node.facts.role);
}

/// Some browsers offer a default action on everything that is drawn.
bool doesSomethingByDefault(const NodeView& node) {
  switch (node.facts.role) {
    case Role::pushButton:
    case Role::toggleButton:
    case Role::checkBox:
    case Role::radioButton:
    case Role::comboBox:
    case Role::pageTab:
    case Role::link:
    case Role::menu:
    case Role::menuItem:
    case Role::checkMenuItem:
    case Role::radioMenuItem:
    case Role::listItem:
    case Role::treeItem:
      return node.facts.is(AccessibleState::enabled);
    default:
      return false;
  }
}

struct ActionRule {
  std::string_view ownName;
  Condition condition;
  /// Empty for what another attribute or action already offers.
  std::string_view name;
};

/// Own names in the spelling of each toolkit. The first rule that holds is the
/// answer; an action that none names passes under its own name.
constexpr ActionRule rules[] = {
    {"click", always, "AXPress"},
    {"clicked", always, "AXPress"},
    {"press", always, "AXPress"},
    {"Press", always, "AXPress"},
    {"push", always, "AXPress"},
    {"toggle", always, "AXPress"},
    {"Toggle", always, "AXPress"},
    {"activate", onEntry, "AXConfirm"},
    {"activate", onCell, "AXConfirm"},
    {"activate", always, "AXPress"},
    {"Activate", always, "AXPress"},
    {"default.activate", always, ""},
    {"jump", always, "AXPress"},
    {"check", always, "AXPress"},
    {"uncheck", always, "AXPress"},
    {"select", always, "AXPress"},
    {"open", always, "AXPress"},
    {"close", always, "AXPress"},
    {"expand", always, "AXPress"},
    {"collapse", always, "AXPress"},
    {"doDefault", doesSomethingByDefault, "AXPress"},
    {"doDefault", always, ""},
    {"clickAncestor", always, ""},
    {"ShowMenu", opensByShowMenu, "AXPress"},
    {"ShowMenu", always, "AXShowMenu"},
    {"showContextMenu", isInteractive, "AXShowMenu"},
    {"showContextMenu", always, ""},
    {"menu", always, "AXShowMenu"},
    {"menu.popup", onEntry, "AXShowMenu"},
    {"menu.popup", always, ""},
    {"popup-menu", always, "AXShowMenu"},
    {"Increase", always, "AXIncrement"},
    {"Decrease", always, "AXDecrement"},
    {"increment", always, "AXIncrement"},
    {"decrement", always, "AXDecrement"},
    {"Scroll Left", always, "AXScrollLeftByPage"},
    {"Scroll Right", always, "AXScrollRightByPage"},
    {"Scroll Up", always, "AXScrollUpByPage"},
    {"Scroll Down", always, "AXScrollDownByPage"},
    {"SetFocus", always, ""},
    {"grabFocus", always, ""},
};

/// GTK 4 gives a window each command of its menus ("page.save") as an action, in an
/// order that changes; the menus offer the same under names that a person knows.
bool isMenuCommandOfWindow(const NodeView& node, const std::string& ownName) {
  return node.isTopLevel && ownName.contains('.');
}

std::string rawName(const NodeView& node, const std::string& ownName) {
  if (isMenuCommandOfWindow(node, ownName)) return {};
  for (const ActionRule& rule : rules) {
    if (rule.ownName == ownName && rule.condition(node)) return std::string(rule.name);
  }
  return ownName;
}

bool canScrollTo(const NodeView& node) {
  return node.toolkit == Toolkit::chromium && node.facts.has(componentInterface) && isInteractive(node) &&
         node.facts.role != Role::application && !node.isTopLevel;
}

bool canScrollToCaret(const NodeView& node) {
  return node.facts.has(editableTextInterface) && node.facts.is(AccessibleState::editable);
}

}  // namespace

bool isAdjustable(const NodeView& node) {
  switch (node.facts.role) {
    case Role::slider:
    case Role::dial:
    case Role::spinButton:
    case Role::scrollBar:
    case Role::rating:
    case Role::splitPane:
      return node.facts.has(valueInterface);
    default:
      return false;
  }
}

std::vector<ActionTranslation> translateActions(const NodeView& node) {
  using Means = ActionTranslation::Means;
  std::vector<ActionTranslation> result;
  auto add = [&](ActionTranslation action) {
    auto same = [&](const ActionTranslation& other) { return other.name == action.name; };
    bool isNew = std::none_of(result.begin(), result.end(), same);
    if (!action.name.empty() && isNew) result.push_back(std::move(action));
  };
  const auto& own = node.facts.actions;
  for (std::size_t i = 0; i < own.size(); ++i) {
    add({rawName(node, own[i].name), Means::ownAction, static_cast<int>(i), own[i].description});
  }
  if (isAdjustable(node) && node.facts.role != Role::splitPane) {
    add({"AXIncrement", Means::increment, 0, ""});
    add({"AXDecrement", Means::decrement, 0, ""});
  }
  if (canScrollTo(node)) {
    add({"AXScrollToVisible", Means::scrollTo, 0, ""});
  } else if (canScrollToCaret(node)) {
    add({"AXScrollToVisible", Means::scrollToCaret, 0, ""});
  }
  return result;
}

std::optional<int> ownActionNumber(const AccessibleFacts& facts,
                                   std::initializer_list<std::string_view> names) {
  for (std::size_t i = 0; i < facts.actions.size(); ++i) {
    if (std::find(names.begin(), names.end(), facts.actions[i].name) != names.end())
      return static_cast<int>(i);
  }
  return std::nullopt;
}

}  // namespace tavik
