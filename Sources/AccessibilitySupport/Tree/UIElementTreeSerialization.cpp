#include <optional>
#include <string_view>

#include "AccessibilitySupport/Access/AXActions.h"
#include "AccessibilitySupport/Tree/AppStateLine.h"
#include "AccessibilitySupport/Tree/ItemWalk.h"
#include "AccessibilitySupport/Tree/OptionalText.h"
#include "AccessibilitySupport/Tree/UIElementTree.h"
#include "AccessibilitySupport/Tree/UIElementTreeVisibility.h"
#include "AccessibilitySupport/Tree/WebSurroundings.h"
#include "Base/Text/Text.h"

// The forms of the whole tree as text.

namespace tavik {

namespace {

using Item = UIElementTreeItem;

struct AppStatePlace {
  std::size_t indent = 0;
  WebSurroundings surroundings;
};

void beginLine(std::string& text) {
  if (!text.empty()) text += '\n';
}

std::string_view readableActionName(const std::string& raw) {
  const auto readable = AXActions::rawToReadable.find(raw);
  return readable == AXActions::rawToReadable.end() ? raw : readable->second;
}

/// Collects parts with one blank between them.
class ReadableParts {
 public:
  void add(std::string_view opening, const std::optional<std::string>& part, std::string_view closing) {
    if (hasText(part)) add(opening, std::string_view(*part), closing);
  }

  void add(std::string_view opening, std::string_view part, std::string_view closing) {
    if (!text_.empty()) text_ += ' ';
    text_ += opening;
    text_ += part;
    text_ += closing;
  }

  std::string take() { return std::move(text_); }

 private:
  std::string text_;
};

std::string joinedReadableActionNames(const Item& item) {
  std::string names;
  for (const std::string& raw : item.actions) {
    if (!names.empty()) names += ", ";
    names += readableActionName(raw);
  }
  return names;
}

}  // namespace

std::string UIElementTree::serializeForAppState() const {
  std::string text;
  const AppStatePlace top = {0, WebSurroundings::of(*rootItem)};
  walkPreOrder(
      *rootItem, top, [&](const Item& item, const AppStatePlace& place) -> std::optional<AppStatePlace> {
        if (isExcludedFromAppState(item)) return std::nullopt;
        if (item.elementIndex) {
          beginLine(text);
          appendAppStateLine(text, item, place.indent, place.surroundings);
        }
        if (isMenuBarTitle(item) || item.appStateFoldedRowLabel()) return std::nullopt;
        return AppStatePlace{place.indent + (item.elementIndex ? 1 : 0), place.surroundings.below(item)};
      });
  return text;
}

std::string UIElementTree::serialize() const {
  std::string text;
  walkPreOrder(*rootItem, std::size_t{0},
               [&](const Item& item, std::size_t indent) -> std::optional<std::size_t> {
                 if (isExcludedFromDebugForm(item)) return std::nullopt;
                 const std::string description = item.buildReadableDescription();
                 if (item.elementIndex || !text::isBlank(description)) {
                   beginLine(text);
                   text.append(2 * indent, ' ');
                   if (item.elementIndex)
                     text.append("[").append(std::to_string(*item.elementIndex)).append("] ");
                   text += description;
                 }
                 return indent + 1;
               });
  return text;
}

std::string UIElementTreeItem::buildReadableDescription() const {
  ReadableParts parts;
  parts.add("", role, "");
  parts.add("\"", title, "\"");
  parts.add("value: \"", value, "\"");
  parts.add("description: \"", elementDescription, "\"");
  parts.add("placeholder: \"", placeholderValue, "\"");
  parts.add("help: \"", help, "\"");
  if (url && !url->absoluteString.empty()) parts.add("url: ", std::string_view(url->absoluteString), "");
  if (!isEnabled) parts.add("", std::string_view("(disabled)"), "");
  if (!actions.empty()) parts.add("actions: [", std::string_view(joinedReadableActionNames(*this)), "]");
  return parts.take();
}

}  // namespace tavik
