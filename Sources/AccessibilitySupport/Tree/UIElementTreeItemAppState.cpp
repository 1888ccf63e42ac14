#include <optional>
#include <string>
#include <string_view>

#include "AccessibilitySupport/Access/AXActions.h"
#include "AccessibilitySupport/Tree/AppStateLine.h"
#include "AccessibilitySupport/Tree/OptionalText.h"
#include "AccessibilitySupport/Tree/RowLabel.h"
#include "AccessibilitySupport/Tree/UIElementTreeItem.h"
#include "AccessibilitySupport/Tree/WebSurroundings.h"
#include "AccessibilitySupport/Tree/WordMatch.h"
#include "Base/Text/Text.h"

// What a line of the tree text is derived from.

namespace tavik {

namespace {

bool isWindowRole(const std::optional<std::string>& role) {
  return role == "AXWindow" || role == "AXStandardWindow";
}

bool isChildOfWindow(const UIElementTreeItem& item) {
  const auto parent = item.parentItem();
  return parent && isWindowRole(parent->role);
}

void cutSuffix(std::string& name, std::string_view suffix) {
  if (name.ends_with(suffix)) name.resize(name.size() - suffix.size());
}

}  // namespace

bool UIElementTreeItem::hasPublicIdentifier() const {
  return hasText(identifier) && !identifier->starts_with('_') && !identifier->contains("_NS");
}

bool UIElementTreeItem::appStateIsSelectableRow() const {
  if (role == "AXRow" || role == "AXOutlineRow" || role == "AXTableRow") return true;
  return roleDescription && (isWord(*roleDescription, "row") || isWord(*roleDescription, "外框行") ||
                             isWord(*roleDescription, "表格行"));
}

std::string UIElementTreeItem::appStateRole() const {
  return std::string(tavik::appStateRole(*this, WebSurroundings::of(*this)));
}

bool UIElementTreeItem::appStateIsWindowChrome() const {
  if (isWindowRole(role)) return true;
  if (role == "AXButton") {
    return !hasText(title) && !hasText(elementDescription) && !hasText(identifier) && isChildOfWindow(*this);
  }
  return role == "AXGroup" && isValueSettable && valueType == "string" && isChildOfWindow(*this);
}

bool UIElementTreeItem::appStateIsVirtualEditor() const {
  return (roleDescription && isWord(*roleDescription, "editor")) ||
         (elementDescription && containsWord(*elementDescription, "editor group"));
}

std::optional<std::string> UIElementTreeItem::appStateFoldedRowLabel() const {
  if (hasText(syntheticFoldedRowLabel)) return syntheticFoldedRowLabel;
  if (childItems.empty() || hasText(title) || hasText(value) || hasText(elementDescription))
    return std::nullopt;
  if (!appStateIsSelectableRow()) return std::nullopt;
  return labelOfRowChildren(*this);
}

std::optional<std::string> UIElementTreeItem::appStateSelectionComparableText() const {
  if (auto label = appStateFoldedRowLabel()) return label;
  std::string text = text::trimmed(text::joined(selectableRowTextFragments(*this), " "));
  if (text.empty()) return std::nullopt;
  return text;
}

std::optional<std::string> UIElementTreeItem::actionDescription(const std::string& raw) const {
  if (!access || !axElement) return std::nullopt;
  auto answer = access->port().copyActionDescription(axElement, raw);
  if (!answer.ok() || answer.value.empty()) return std::nullopt;
  return std::move(answer.value);
}

std::optional<std::string> UIElementTreeItem::appStateActionName(const std::string& raw) const {
  if (raw == AXActions::delete_) return actionDescription(raw).value_or("Delete");
  if (raw == AXActions::zoomWindow) return actionDescription(raw).value_or("Zoom Window");
  const auto readable = AXActions::rawToReadable.find(raw);
  if (readable != AXActions::rawToReadable.end()) return readable->second;
  return actionDescription(raw);
}

std::vector<std::string> UIElementTreeItem::appStateActionNames() const {
  std::vector<std::string> names;
  for (const std::string& raw : actions) {
    if (raw == AXActions::raise || raw == AXActions::press) continue;
    if (raw == AXActions::showMenu || raw == AXActions::scrollToVisible) continue;
    if (raw == AXActions::zoomWindow && appStateIsWindowChrome()) continue;
    if (raw == AXActions::showAlternateUI && appStateIsSelectableRow()) continue;
    std::optional<std::string> name = appStateActionName(raw);
    if (!name) continue;
    cutSuffix(*name, " By Page");
    names.push_back(std::move(*name));
  }
  return names;
}

std::string UIElementTreeItem::appStateDescriptionWithoutIndex() const {
  std::string description;
  appendAppStateDescription(description, *this, WebSurroundings::of(*this));
  return description;
}

}  // namespace tavik
