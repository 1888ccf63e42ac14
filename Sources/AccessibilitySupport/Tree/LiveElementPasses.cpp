#include <algorithm>
#include <optional>
#include <utility>

#include "AccessibilitySupport/Access/AXAttributes.h"
#include "AccessibilitySupport/Tree/OptionalText.h"
#include "AccessibilitySupport/Tree/TransformationPasses.h"
#include "AccessibilitySupport/Tree/VisibleText.h"
#include "AccessibilitySupport/Tree/WordMatch.h"

// The passes that ask the live elements for more than the build read.

namespace tavik {

namespace {

using Item = UIElementTreeItem;
using Result = UIElementTreeTransformationResult;

bool isLive(const Item& item) {
  return item.access && item.axElement;
}

/// What editors say that hide their content from assistive tools.
bool isInaccessibilityNotice(const std::string& description) {
  return containsWord(description, "not accessible at this time") ||
         containsWord(description, "screen reader optimized mode");
}

Result showVisibleText(const std::shared_ptr<Item>& item, const char* role) {
  if (item->role != role || !isLive(*item)) return Result::skipped();
  auto text = fetchVisibleText(*item->access, item->axElement);
  if (!hasText(text)) return Result::skipped();
  item->value = std::move(text);
  if (item->elementDescription && isInaccessibilityNotice(*item->elementDescription)) {
    item->elementDescription.reset();
  }
  return Result::transformed(item);
}

/// The sibling that the application names as the item's label.
const Item* labelOf(const Item& item, const Item& parent) {
  const auto answer = item.access->copyAttributeValueOptional(item.axElement, AXAttributes::titleUIElement);
  const AXElement* element = answer ? answer->get<AXElement>() : nullptr;
  if (!element || !*element) return nullptr;
  const auto isLabel = [&](const auto& sibling) {
    return sibling.get() != &item && sibling->axElement == *element;
  };
  const auto label = std::ranges::find_if(parent.childItems, isLabel);
  return label == parent.childItems.end() ? nullptr : label->get();
}

}  // namespace

Result associateTitleUIElements(const std::shared_ptr<Item>& item, const Item& parent) {
  if (!isLive(*item)) return Result::skipped();
  const Item* label = labelOf(*item, parent);
  if (!label) return Result::skipped();
  if (!hasText(item->title)) item->title = label->title ? label->title : label->value;
  return Result::transformed(item);
}

Result retrieveAttributedTextFromTextAreas(const std::shared_ptr<Item>& item, const Item&) {
  return showVisibleText(item, "AXTextArea");
}

Result retrieveAttributedTextFromWebAreas(const std::shared_ptr<Item>& item, const Item&) {
  return showVisibleText(item, "AXWebArea");
}

}  // namespace tavik
