#include "ComputerUseToolRuntime/Actions/FocusedText.h"

#include "AccessibilitySupport/Access/AXAttributes.h"
#include "Base/Text/Text.h"

namespace tavik {

namespace {

/// For comparison.
std::string plain(const std::optional<std::string>& text) {
  return text::lowercased(text::trimmed(text.value_or("")));
}

bool looksLikeEditor(const std::string& roleDescription, const std::string& elementDescription) {
  return roleDescription == "editor" || text::contains(elementDescription, "editor group");
}

}  // namespace

bool isVirtualEditor(const std::optional<std::string>& roleDescription,
                     const std::optional<std::string>& elementDescription) {
  return looksLikeEditor(plain(roleDescription), plain(elementDescription));
}

bool isPreviewEditor(const std::optional<std::string>& roleDescription,
                     const std::optional<std::string>& elementDescription) {
  return text::contains(plain(elementDescription), "preview") && isVirtualEditor(roleDescription, elementDescription);
}

std::optional<FocusedTextState> focusedTextState(std::int32_t inPid, const LiveElementReader& reader) {
  const AXElement element = reader.focusedElement(inPid);
  if (!element) return std::nullopt;
  FocusedTextState state{.element = element};
  state.role = reader.roleName(element);
  state.roleDescription = reader.string(element, AXAttributes::roleDescription);
  const auto value = reader.string(element, AXAttributes::value);
  if (!value) return std::nullopt;
  state.value = *value;
  state.selectedRange = reader.range(element, AXAttributes::selectedTextRange).value_or(TextRange{0, 0});
  if (state.selectedRange.length < 1) {
    const auto selected = reader.string(element, "AXSelectedText");
    if (selected && !selected->empty() && *selected == *value) state.selectedRange = {0, text::utf16Length(*value)};
  }
  return state;
}

std::optional<FocusedTextState> focusedTextState(const UIElementTree* from) {
  const auto item = from ? from->focusedItem() : nullptr;
  if (!item || !item->axElement || !item->value) return std::nullopt;
  FocusedTextState state{.element = item->axElement};
  state.role = item->role;
  state.roleDescription = item->roleDescription;
  state.value = *item->value;
  const auto selected = from->selectedElementText();
  if (selected && !selected->empty() && *selected == state.value) {
    state.selectedRange = {0, text::utf16Length(state.value)};
  }
  return state;
}

}  // namespace tavik
