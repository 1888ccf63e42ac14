#include "ComputerUseToolRuntime/Actions/SelectTextAction.h"

#include <algorithm>

#include "AccessibilitySupport/Access/AXAttributes.h"
#include "ComputerUseContracts/ToolError.h"
#include "ComputerUseToolRuntime/Actions/TextSelectionRange.h"

namespace tavik {

namespace {

constexpr auto focusTime = milliseconds(150);
constexpr auto selectionTime = milliseconds(120);
constexpr int confirmations = 4;
constexpr auto confirmationInterval = milliseconds(75);

constexpr const char* noSelection =
    "Cannot select text for an element that does not support a settable selected text range";
constexpr const char* noText = "Could not find the requested text to select in the element";
constexpr const char* noFocus = "Could not focus the target element for text selection";

}  // namespace

ToolResult SelectTextAction::perform(std::int32_t pid, const TextSelectionParams& params) {
  const AXElement element = services_.elements.findElement(params.elementIndex)->axElement;
  if (!reader_.isSettable(element, AXAttributes::selectedTextRange)) throw ToolError::actionRejected(noSelection);
  const auto text = reader_.string(element, AXAttributes::value);
  const auto range =
      text ? textSelectionRange(*text, params.text, params.prefix, params.suffix, params.selection) : std::nullopt;
  if (!range) throw ToolError::actionRejected(noText);
  if (const auto center = reader_.frameCenter(element)) services_.cursor.prepareForInteraction(*center);
  services_.scheduler.checkCancellation();

  if (!reader_.isFocusedElement(element, pid)) focus(element, pid);
  setSelectedTextRange(*range, element);
  services_.scheduler.sleep(selectionTime);
  // Some applications drop the first one while the focus settles.
  setSelectedTextRange(*range, element);
  if (!confirmSelectedTextRange(*range, element, pid, confirmations, confirmationInterval)) {
    throw ToolError::actionRejected(noText);
  }
  return ToolResult::text("Action completed successfully.");
}

void SelectTextAction::focus(const AXElement& element, std::int32_t pid) {
  services_.access.port().setAttributeValue(element, AXAttributes::focused, true);
  services_.scheduler.sleep(focusTime);
  if (!reader_.isFocusedElement(element, pid)) throw ToolError::actionRejected(noFocus);
}

void SelectTextAction::setSelectedTextRange(TextRange range, const AXElement& on) {
  const AXErrorCode code = services_.access.port().setAttributeValue(on, AXAttributes::selectedTextRange, range);
  if (code != AXError::success) throw ToolError::axSetValueFailed(code);
}

bool SelectTextAction::confirmSelectedTextRange(TextRange range, const AXElement& on, std::int32_t pid, int attempts,
                                                Duration interval) {
  for (int attempt = 0; attempt < std::max(attempts, 1); ++attempt) {
    if (attempt > 0) services_.scheduler.sleep(interval);
    const auto selected = reader_.range(on, AXAttributes::selectedTextRange);
    const bool isFocused =
        reader_.boolean(on, AXAttributes::focused).value_or(false) || reader_.isFocusedElement(on, pid);
    if (selected == range && isFocused) return true;
  }
  return false;
}

}  // namespace tavik
