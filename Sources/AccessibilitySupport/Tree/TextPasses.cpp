#include <algorithm>
#include <cstddef>
#include <span>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "AccessibilitySupport/Tree/ItemWalk.h"
#include "AccessibilitySupport/Tree/OptionalText.h"
#include "AccessibilitySupport/Tree/TransformationPasses.h"
#include "Base/Text/Text.h"

// The passes that say a text once, and in one place.

namespace tavik {

namespace {

using Item = UIElementTreeItem;
using Result = UIElementTreeTransformationResult;

/// A title that is there but empty hides the value.
std::string_view titleElseValue(const Item& item) {
  if (item.title) return *item.title;
  if (item.value) return *item.value;
  return {};
}

/// The single text that stands for a run of adjacent ones. It is no element of the
/// application any more: a click on it goes by position.
std::shared_ptr<Item> mergedText(std::span<const std::shared_ptr<Item>> run) {
  std::vector<std::string> texts;
  for (const auto& item : run) texts.push_back(text::trimmed(titleElseValue(*item)));
  auto merged = std::make_shared<Item>();
  merged->role = "AXStaticText";
  merged->value = text::trimmed(text::joined(texts, " "));
  merged->isFocused =
      std::ranges::any_of(run, [](const auto& item) { return containsFocusedElement(*item); });
  return merged;
}

}  // namespace

bool isTextOnly(const Item& item) {
  return item.childItems.empty() && item.actions.empty() && (!item.role || item.role == "AXStaticText") &&
         (hasText(item.title) || hasText(item.value));
}

std::string collectText(const Item& from) {
  std::string collected;
  walkPreOrder(from, std::monostate{}, [&](const Item& item, std::monostate below) {
    const auto& text = hasText(item.title) ? item.title : item.value;
    if (!hasText(text)) return std::optional(below);
    if (!collected.empty()) collected += ' ';
    collected += *text;
    return std::optional<std::monostate>();
  });
  return collected;
}

Result flattenRepetitiveStaticText(const std::shared_ptr<Item>& item, const Item&) {
  const std::string_view text = titleElseValue(*item);
  if (text.empty()) return Result::skipped();
  const auto removedCount = std::erase_if(item->childItems, [text](const auto& child) {
    return child->role == "AXStaticText" && child->childItems.empty() && titleElseValue(*child) == text;
  });
  return removedCount > 0 ? Result::transformed(item) : Result::skipped();
}

Result flattenLinksIntoMarkdownText(const std::shared_ptr<Item>& item, const Item&) {
  if (item->role != "AXLink" || !item->url) return Result::skipped();
  const std::string text = collectText(*item);
  if (text.empty()) return Result::skipped();
  item->value = "[" + text + "](" + item->url->absoluteString + ")";
  item->childItems.clear();
  return Result::transformed(item);
}

Result mergeTextOnlySiblings(const std::shared_ptr<Item>& item, const Item&) {
  const Item::Children& before = item->childItems;
  if (before.size() < 2) return Result::skipped();

  Item::Children after;
  for (auto run = before.begin(); run != before.end();) {
    const auto end =
        std::find_if_not(run, before.end(), [](const auto& child) { return isTextOnly(*child); });
    if (end - run >= 2) {
      after.push_back(mergedText({run, end}));
      run = end;
    } else {
      after.push_back(*run++);
    }
  }
  if (after.size() == before.size()) return Result::skipped();
  item->setChildItems(std::move(after));
  return Result::transformed(item);
}

}  // namespace tavik
