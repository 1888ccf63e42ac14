#include "Backends/Linux/Accessibility/NotificationTable.h"

#include <algorithm>
#include <cctype>

#include "Backends/Linux/Accessibility/FactQuestions.h"

namespace tavik {

namespace {

using When = NotificationRule::When;
using Subject = NotificationRule::Subject;

constexpr NotificationRule rules[] = {
    // Focus
    {"Object", "StateChanged", "focused", When::set, "AXFocusedUIElementChanged", Subject::source},
    {"Window", "Activate", "", When::always, "AXFocusedWindowChanged", Subject::source},
    {"Window", "Activate", "", When::always, "AXMainWindowChanged", Subject::source},

    // Windows
    {"Window", "Create", "", When::always, "AXWindowCreated", Subject::source},
    {"Window", "Destroy", "", When::always, "AXUIElementDestroyed", Subject::source},
    {"Window", "Minimize", "", When::always, "AXWindowMiniaturized", Subject::source},
    {"Window", "Restore", "", When::always, "AXWindowDeminiaturized", Subject::source},
    {"Window", "Move", "", When::always, "AXWindowMoved", Subject::source},
    {"Window", "Resize", "", When::always, "AXWindowResized", Subject::source},

    // Values
    {"Object", "PropertyChange", "accessible-value", When::always, "AXValueChanged", Subject::source},
    {"Object", "TextChanged", "", When::always, "AXValueChanged", Subject::source},
    {"Object", "StateChanged", "checked", When::always, "AXValueChanged", Subject::source},
    {"Object", "StateChanged", "pressed", When::always, "AXValueChanged", Subject::source},
    {"Object", "StateChanged", "indeterminate", When::always, "AXValueChanged", Subject::source},
    {"Object", "PropertyChange", "accessible-name", When::always, "AXTitleChanged", Subject::source},

    // Selection
    {"Object", "TextSelectionChanged", "", When::always, "AXSelectedTextChanged", Subject::source},
    {"Object", "TextCaretMoved", "", When::always, "AXSelectedTextChanged", Subject::source},
    {"Object", "SelectionChanged", "", When::always, "AXSelectedChildrenChanged", Subject::source},
    {"Object", "SelectionChanged", "", When::always, "AXSelectedRowsChanged", Subject::source},
    {"Object", "ActiveDescendantChanged", "", When::always, "AXSelectedChildrenChanged", Subject::source},
    {"Object", "StateChanged", "selected", When::always, "AXSelectedChildrenChanged", Subject::source},

    // Structure
    {"Object", "ChildrenChanged", "add", When::always, "AXCreated", Subject::other},
    {"Object", "ChildrenChanged", "remove", When::always, "AXUIElementDestroyed", Subject::other},
    {"Object", "ChildrenChanged", "", When::always, "AXLayoutChanged", Subject::source},
    {"Object", "StateChanged", "defunct", When::set, "AXUIElementDestroyed", Subject::source},
    {"Object", "StateChanged", "showing", When::always, "AXLayoutChanged", Subject::source},
    {"Object", "StateChanged", "visible", When::always, "AXLayoutChanged", Subject::source},
    {"Object", "StateChanged", "sensitive", When::always, "AXLayoutChanged", Subject::source},
    {"Object", "StateChanged", "enabled", When::always, "AXLayoutChanged", Subject::source},
    {"Object", "StateChanged", "expanded", When::always, "AXLayoutChanged", Subject::source},
    {"Object", "StateChanged", "expanded", When::always, "AXRowCountChanged", Subject::source},
    {"Object", "VisibleDataChanged", "", When::always, "AXLayoutChanged", Subject::source},
    {"Object", "ModelChanged", "", When::always, "AXLayoutChanged", Subject::source},
    {"Object", "RowInserted", "", When::always, "AXRowCountChanged", Subject::source},
    {"Object", "RowDeleted", "", When::always, "AXRowCountChanged", Subject::source},
    {"Object", "BoundsChanged", "", When::always, "AXMoved", Subject::source},
    {"Object", "BoundsChanged", "", When::always, "AXResized", Subject::source},
    {"Document", "LoadComplete", "", When::always, "AXLoadComplete", Subject::source},
    {"Document", "LoadComplete", "", When::always, "AXLayoutChanged", Subject::source},

    // Menus
    {"Object", "StateChanged", "showing", When::set, "AXMenuOpened", Subject::menu},
    {"Object", "StateChanged", "showing", When::cleared, "AXMenuClosed", Subject::menu},
};

/// Toolkits do not agree on the case of the first letter.
bool sameName(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
  });
}

/// "StateChanged" to "state-changed".
std::string hyphenated(std::string_view name) {
  std::string result;
  for (char c : name) {
    if (std::isupper(static_cast<unsigned char>(c)) && !result.empty()) result += '-';
    result += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return result;
}

}  // namespace

AccessibleEvent AccessibleEvent::from(const BusMessage& signal) {
  constexpr std::string_view prefix = "org.a11y.atspi.Event.";
  AccessibleEvent event;
  event.source = {std::string(signal.sender()), std::string(signal.path())};
  if (!signal.interface().starts_with(prefix)) return event;
  event.category = signal.interface().substr(prefix.size());
  event.kind = signal.member();
  BusReader reader = signal.read();
  event.detail = reader.string();
  event.amount = reader.integer();
  reader.skip();
  BusReader any = reader.inside();
  if (any.type() == DBUS_TYPE_STRUCT) event.other = readReference(any);
  return event;
}

bool NotificationRule::matches(const AccessibleEvent& event) const {
  if (category != event.category || !sameName(kind, event.kind)) return false;
  // Qualifiers may follow: "add/system".
  if (!detail.empty() && event.detail.substr(0, event.detail.find('/')) != detail) return false;
  if (when == When::set && event.amount == 0) return false;
  if (when == When::cleared && event.amount != 0) return false;
  return subject != Subject::other || !event.other.isNull();
}

std::string NotificationRule::registryName() const {
  std::string name = hyphenated(category) + ":" + hyphenated(kind);
  return detail.empty() ? name : name + ":" + std::string(detail);
}

std::span<const NotificationRule> notificationRules() {
  return rules;
}

}  // namespace tavik
