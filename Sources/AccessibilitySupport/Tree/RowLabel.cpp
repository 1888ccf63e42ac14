#include "AccessibilitySupport/Tree/RowLabel.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <variant>

#include "AccessibilitySupport/Tree/ItemWalk.h"
#include "AccessibilitySupport/Tree/OptionalText.h"
#include "Base/Text/Text.h"

namespace tavik {

namespace {

using Item = UIElementTreeItem;

constexpr std::array<std::string_view, 11> rowLabelBlockingRoles = {
    "AXButton",     "AXCheckBox",  "AXComboBox", "AXMenuButton", "AXPopUpButton", "AXRadioButton",
    "AXScrollArea", "AXScrollBar", "AXSlider",   "AXTextArea",   "AXTextField",
};

bool blocksRowLabel(const Item& item) {
  return !item.actions.empty() || item.isValueSettable || item.url || hasText(item.help) ||
         hasText(item.placeholderValue) ||
         (item.role && std::ranges::find(rowLabelBlockingRoles, *item.role) != rowLabelBlockingRoles.end());
}

std::string trimmed(const std::optional<std::string>& text) {
  return text ? text::trimmed(*text) : std::string();
}

void appendOwnFragments(const Item& item, std::vector<std::string>& fragments) {
  if (item.role == "AXImage") return;
  const std::string title = trimmed(item.title);
  const std::string value = trimmed(item.value);
  const std::string description = trimmed(item.elementDescription);
  if (!title.empty()) fragments.push_back(title);
  if (!value.empty() && value != title) fragments.push_back(value);
  if (!description.empty() && description != title && description != value) fragments.push_back(description);
}

void appendFragments(const Item& root, std::vector<std::string>& fragments) {
  walkPreOrder(root, std::monostate{}, [&](const Item& item, std::monostate below) {
    appendOwnFragments(item, fragments);
    return std::optional(below);
  });
}

}  // namespace

bool isSelectableRowLabelSubtree(const Item& item) {
  return !anyInSubtree(item, blocksRowLabel);
}

std::vector<std::string> selectableRowTextFragments(const Item& from) {
  std::vector<std::string> fragments;
  appendFragments(from, fragments);
  return fragments;
}

std::optional<std::string> labelOfRowChildren(const Item& row) {
  const auto isLabel = [](const auto& child) { return isSelectableRowLabelSubtree(*child); };
  if (!std::ranges::all_of(row.childItems, isLabel)) return std::nullopt;
  std::vector<std::string> fragments;
  for (const auto& child : row.childItems) appendFragments(*child, fragments);
  std::string label = text::trimmed(text::joined(fragments, " "));
  if (label.empty()) return std::nullopt;
  return label;
}

}  // namespace tavik
