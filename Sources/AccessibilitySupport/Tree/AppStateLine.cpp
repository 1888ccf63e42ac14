#include "AccessibilitySupport/Tree/AppStateLine.h"

#include <optional>

#include "AccessibilitySupport/Tree/OptionalText.h"
#include "Base/Text/Text.h"

namespace tavik {

namespace {

using Item = UIElementTreeItem;

/// Appends parts, each after a blank, which follow a role that is never empty.
void appendWord(std::string& text, std::string_view word) {
  if (word.empty()) return;
  text += ' ';
  text += word;
}

void appendWord(std::string& text, const std::optional<std::string>& word) {
  if (word) appendWord(text, std::string_view(*word));
}

class StateGroup {
 public:
  explicit StateGroup(std::string& text) : text_(text) {}

  void add(std::string_view state) {
    text_ += isOpen_ ? ", " : " (";
    text_ += state;
    isOpen_ = true;
  }

  void close() {
    if (isOpen_) text_ += ')';
  }

 private:
  std::string& text_;
  bool isOpen_ = false;
};

void appendSelectionState(StateGroup& states, const Item& item, bool isRow,
                          const WebSurroundings& surroundings) {
  if (isRow) {
    if (item.isSelected) states.add("selected");
    return;
  }
  if (!item.isSelectable && !item.isSelected) return;
  // On the web and for windows everything is selectable; that says nothing.
  if (surroundings.isInsideWebRoot || isWebRoot(item) || item.appStateIsWindowChrome()) return;
  states.add(item.isSelected ? "selected" : "selectable");
}

void appendStates(std::string& text, const Item& item, bool isRow, const WebSurroundings& surroundings) {
  StateGroup states(text);
  appendSelectionState(states, item, isRow, surroundings);
  if (!item.isEnabled) states.add("disabled");
  if (item.isValueSettable && !item.appStateIsWindowChrome() && !item.appStateIsVirtualEditor()) {
    states.add("settable");
    if (hasText(item.valueType)) states.add(*item.valueType);
  }
  states.close();
}

/// A value needs no label where nothing else could be meant. A name that is there
/// but empty is still a name.
bool showsValueBare(const Item& item) {
  if (item.role == "AXScrollBar") return true;
  return !item.isValueSettable && !item.title && !item.elementDescription && !item.identifier;
}

class DetailList {
 public:
  DetailList(std::string& text, std::string_view firstSeparator) : text_(text), separator_(firstSeparator) {}

  void add(std::string_view label, std::string_view detail) {
    if (detail.empty()) return;
    text_ += separator_;
    text_ += label;
    text_ += detail;
    separator_ = ", ";
  }

  void add(std::string_view label, const std::optional<std::string>& detail) {
    if (detail) add(label, std::string_view(*detail));
  }

 private:
  std::string& text_;
  std::string_view separator_;
};

void appendDetails(std::string& text, const Item& item, bool isDescriptionShown, bool isValueShown) {
  DetailList details(text, hasText(item.title) ? ", " : " ");
  if (!isDescriptionShown && item.elementDescription != item.title) {
    details.add("Description: ", item.elementDescription);
  }
  details.add("Help: ", item.help);
  if (item.hasPublicIdentifier()) details.add("ID: ", item.identifier);
  if (!isValueShown) details.add("Value: ", item.value);
  details.add("Placeholder: ", item.placeholderValue);
  if (item.url) details.add("URL: ", std::string_view(item.url->absoluteString));
  if (!item.actions.empty()) {
    details.add("Secondary Actions: ", std::string_view(text::joined(item.appStateActionNames(), ", ")));
  }
}

}  // namespace

std::string_view appStateRole(const Item& item, const WebSurroundings& surroundings) {
  if (item.appStateIsSelectableRow()) return "row";
  if (isWebLayoutContainer(item, surroundings)) return "container";
  if (hasText(item.roleDescription)) return *item.roleDescription;
  std::string_view role = item.role ? std::string_view(*item.role) : std::string_view();
  if (role.starts_with("AX")) role.remove_prefix(2);
  return role.empty() ? "element" : role;
}

void appendAppStateDescription(std::string& text, const Item& item, const WebSurroundings& surroundings) {
  if (item.role == "AXMenuBar") {
    text += "menu bar";
    return;
  }
  if (item.role == "AXMenuBarItem") {
    text += hasText(item.title) ? std::string_view(*item.title) : appStateRole(item, surroundings);
    return;
  }

  const bool isRow = item.appStateIsSelectableRow();
  const std::optional<std::string> foldedLabel = item.appStateFoldedRowLabel();
  const bool showsDescription = isRow && !hasText(item.title) && !foldedLabel;
  const bool showsValue = showsValueBare(item);

  text += appStateRole(item, surroundings);
  appendStates(text, item, isRow, surroundings);
  appendWord(text, item.title);
  appendWord(text, foldedLabel);
  if (showsDescription) appendWord(text, item.elementDescription);
  if (showsValue) appendWord(text, item.value);
  appendDetails(text, item, showsDescription, showsValue);
}

void appendAppStateLine(std::string& text, const Item& item, std::size_t indent,
                        const WebSurroundings& surroundings) {
  text.append(indent, '\t');
  if (item.elementIndex) {
    text += std::to_string(*item.elementIndex);
    text += ' ';
  }
  appendAppStateDescription(text, item, surroundings);
}

}  // namespace tavik
