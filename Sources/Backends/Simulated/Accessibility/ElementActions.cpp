#include <algorithm>

#include "Backends/Simulated/Accessibility/ElementModel.h"
#include "Backends/Simulated/Accessibility/Membership.h"
#include "Backends/Simulated/Accessibility/RoleCustoms.h"

namespace tavik {

namespace {

const std::vector<std::string> pageActions = {"AXScrollLeftByPage", "AXScrollRightByPage", "AXScrollUpByPage",
                                              "AXScrollDownByPage"};

ElementNode* firstMenuBelow(const ElementNode& node) {
  const auto found = std::ranges::find_if(node.children, [](const auto* child) { return child->role == "AXMenu"; });
  return found == node.children.end() ? nullptr : *found;
}

bool showsMenuOnDemand(const ElementNode& node) { return node.extras && !node.extras->menu.empty(); }

bool isWithin(const ElementNode* node, const ElementNode& ancestor) {
  while (node && node != &ancestor) node = node->parent;
  return node != nullptr;
}

}  // namespace

std::vector<std::string> ElementModel::actionNamesLocked(const ElementNode& node) const {
  std::vector<std::string> names = roleCustoms(node.role).actions;
  const auto append = [&](const std::string& name) {
    if (!isMember(names, name)) names.push_back(name);
  };
  if (!node.extras) return names;
  if (node.extras->contentHeight) std::ranges::for_each(pageActions, append);
  if (!node.extras->menu.empty()) append("AXShowMenu");
  for (const auto& action : node.extras->actions) append(action.name);
  return names;
}

AXResult<std::string> ElementModel::actionDescriptionLocked(const ElementNode& node, const std::string& action) const {
  if (!isMember(actionNamesLocked(node), action)) {
    return AXResult<std::string>::failed(AXError::actionUnsupported);
  }
  if (node.extras) {
    for (const auto& own : node.extras->actions) {
      if (own.name == action && !own.description.empty()) return AXResult<std::string>::success(own.description);
    }
  }
  return AXResult<std::string>::success(customaryActionDescription(action));
}

AXErrorCode ElementModel::performLocked(ElementNode& node, const std::string& action, ElementEffects& effects) {
  if (!isMember(actionNamesLocked(node), action)) return AXError::actionUnsupported;
  const auto enabled = readLocked(node, "AXEnabled");
  if (const bool* isEnabled = enabled.value.get<bool>(); isEnabled && !*isEnabled) return AXError::success;

  if (!node.extras || !node.extras->isInert) {
    const double page = node.frame ? node.frame->size.height : 0;
    if (action == "AXPress") pressLocked(node, effects);
    if (action == "AXIncrement") stepLocked(node, 1, effects);
    if (action == "AXDecrement") stepLocked(node, -1, effects);
    if (action == "AXRaise") raiseLocked(node, effects);
    if (action == "AXShowMenu") openMenuLocked(node, effects);
    if (action == "AXScrollUpByPage") scrollLocked(node, node.scrolled - page, effects);
    if (action == "AXScrollDownByPage") scrollLocked(node, node.scrolled + page, effects);
    if (action == "AXScrollToVisible") scrollToVisibleLocked(node, effects);
    if (action == "AXCancel") cancelLocked(node, effects);
  }
  if (node.extras) {
    for (const auto& own : node.extras->actions) {
      if (own.name != action || !own.handler) continue;
      effects.handlers.push_back([handler = own.handler, element = SimulatedElement(*this, node)] { handler(element); });
    }
  }
  return AXError::success;
}

void ElementModel::pressLocked(ElementNode& node, ElementEffects& effects) {
  const std::string& role = node.role;
  if (role == "AXCheckBox" || role == "AXDisclosureTriangle") {
    const bool isOn = readLocked(node, "AXValue").value == AXValue(1);
    setLocked(node, "AXValue", isOn ? 0 : 1, effects);
  } else if (role == "AXRadioButton") {
    pressRadioButtonLocked(node, effects);
  } else if (role == "AXPopUpButton" || role == "AXMenuButton" || role == "AXMenuBarItem") {
    if (node.shownMenu) {
      closeMenuLocked(*node.shownMenu, effects);
    } else {
      openMenuLocked(node, effects);
    }
  } else if (role == "AXMenuItem") {
    pressMenuItemLocked(node, effects);
  }
}

void ElementModel::pressRadioButtonLocked(ElementNode& node, ElementEffects& effects) {
  if (node.parent) {
    for (ElementNode* sibling : node.parent->children) {
      const bool isOther = sibling != &node && sibling->role == "AXRadioButton";
      if (isOther && readLocked(*sibling, "AXValue").value == AXValue(1)) setLocked(*sibling, "AXValue", 0, effects);
    }
  }
  if (readLocked(node, "AXValue").value != AXValue(1)) setLocked(node, "AXValue", 1, effects);
}

void ElementModel::stepLocked(ElementNode& node, int direction, ElementEffects& effects) {
  const auto number = [&](const char* attribute, double otherwise) {
    const AXValue value = readLocked(node, attribute).value;
    if (const auto* real = value.get<double>()) return *real;
    if (const auto* integer = value.get<std::int64_t>()) return static_cast<double>(*integer);
    return otherwise;
  };
  const double low = number("AXMinValue", 0);
  const double high = std::max(low, number("AXMaxValue", 1));
  const double customaryStep = node.role == "AXSlider" ? (high - low) / 10 : 1;
  const double before = number("AXValue", low);
  const double after = std::clamp(before + direction * number("AXValueIncrement", customaryStep), low, high);
  if (after != before) setLocked(node, "AXValue", after, effects);
}

void ElementModel::scrollToVisibleLocked(ElementNode& node, ElementEffects& effects) {
  ElementNode* area = node.parent;
  while (area && !(area->extras && area->extras->contentHeight)) area = area->parent;
  if (!area || !area->frame || !node.frame) return;
  if (node.frame->minY() < area->frame->minY()) {
    scrollLocked(*area, area->scrolled - (area->frame->minY() - node.frame->minY()), effects);
  } else if (node.frame->maxY() > area->frame->maxY()) {
    scrollLocked(*area, area->scrolled + (node.frame->maxY() - area->frame->maxY()), effects);
  }
}

// Menus

void ElementModel::openMenuLocked(ElementNode& owner, ElementEffects& effects) {
  if (owner.shownMenu) return;
  ElementNode* menu = firstMenuBelow(owner);
  if (!menu && showsMenuOnDemand(owner)) {
    ElementBuilder plan("AXMenu");
    plan.add(owner.extras->menu);
    if (owner.frame) plan.frame({{owner.frame->minX(), owner.frame->maxY()}, {200, 400}});
    menu = &makeLocked(*owner.application, &owner, plan, std::nullopt, effects);
  }
  if (menu) showMenuLocked(*menu, owner, effects);
}

void ElementModel::showMenuLocked(ElementNode& menu, ElementNode& owner, ElementEffects& effects) {
  auto& open = owner.application->openMenus;
  while (!open.empty() && !isWithin(&owner, *open.back())) closeMenuLocked(*open.back(), effects);
  owner.shownMenu = &menu;
  open.push_back(&menu);
  if (owner.role == "AXMenuBarItem" || owner.role == "AXMenuItem") storeLocked(owner, "AXSelected", true);
  effects.notify(menu, "AXMenuOpened");
}

void ElementModel::closeMenuLocked(ElementNode& menu, ElementEffects& effects) {
  auto& open = menu.application->openMenus;
  if (!isMember(open, &menu)) return;
  while (open.back() != &menu) closeMenuLocked(*open.back(), effects);
  open.pop_back();
  effects.notify(menu, "AXMenuClosed");
  ElementNode& owner = *menu.parent;
  owner.shownMenu = nullptr;
  if (owner.role == "AXMenuBarItem" || owner.role == "AXMenuItem") storeLocked(owner, "AXSelected", false);
  if (showsMenuOnDemand(owner)) removeLocked(menu, effects);
}

void ElementModel::closeMenusLocked(ApplicationNode& application, ElementEffects& effects) {
  while (!application.openMenus.empty()) closeMenuLocked(*application.openMenus.front(), effects);
}

void ElementModel::pressMenuItemLocked(ElementNode& node, ElementEffects& effects) {
  if (firstMenuBelow(node) || showsMenuOnDemand(node)) return openMenuLocked(node, effects);
  for (ElementNode* ancestor = node.parent; ancestor; ancestor = ancestor->parent) {
    if (ancestor->role != "AXPopUpButton") continue;
    const AXValue title = readLocked(node, "AXTitle").value;
    if (readLocked(*ancestor, "AXValue").value != title) setLocked(*ancestor, "AXValue", title, effects);
  }
  closeMenusLocked(*node.application, effects);
}

void ElementModel::cancelLocked(ElementNode& node, ElementEffects& effects) {
  if (node.role == "AXMenuBar") return closeMenusLocked(*node.application, effects);
  if (node.shownMenu) return closeMenuLocked(*node.shownMenu, effects);
  for (ElementNode* menu = &node; menu; menu = menu->parent) {
    if (menu->role == "AXMenu") return closeMenuLocked(*menu, effects);
  }
}

}  // namespace tavik
