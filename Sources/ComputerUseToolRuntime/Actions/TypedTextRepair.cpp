#include "ComputerUseToolRuntime/Actions/TypedTextRepair.h"

#include <algorithm>

#include "AccessibilitySupport/Access/AXAttributes.h"
#include "Base/Text/Text.h"

namespace tavik {

namespace {

constexpr auto settlingTime = milliseconds(50);

bool hasLineBreak(const std::string& text) { return text.find_first_of("\n\r") != std::string::npos; }

bool isOneLineField(const std::optional<std::string>& role) { return role == "AXTextField" || role == "AXComboBox"; }

/// Everybody's keys have it.
bool isPlain(std::string_view character) {
  return std::ranges::all_of(character, [](char byte) {
    return byte == '\t' || byte == '\n' || byte == '\r' || (byte >= 32 && byte <= 126);
  });
}

}  // namespace

std::string axRepairText(const std::string& originalText, const std::string& mappedText) {
  std::string kept;
  for (const std::string& character : text::characters(originalText)) {
    if (isPlain(character) || text::contains(mappedText, character)) kept += character;
  }
  return kept;
}

std::optional<std::string> selectedTextReplacementValue(const std::string& replacement,
                                                        const FocusedTextState& state) {
  const auto [location, length] = state.selectedRange;
  std::u16string units = text::utf16(state.value);
  const auto size = static_cast<long>(units.size());
  if (location < 0 || length < 1 || location > size || length > size - location) return std::nullopt;
  units.replace(static_cast<std::size_t>(location), static_cast<std::size_t>(length), text::utf16(replacement));
  return text::utf8(units);
}

bool canRepairSelectedTextMismatchWithAXValue(const std::optional<std::string>& role, const std::string& replacement) {
  return isOneLineField(role) && !hasLineBreak(replacement);
}

bool canRepairWholeTextReplacementMismatch(const std::string& previousValue, const std::string& afterValue,
                                           const std::string& replacement, const std::optional<std::string>& role) {
  const auto isGone = [&](const std::string& text) { return text.empty() || !text::contains(afterValue, text); };
  return afterValue != replacement && isGone(previousValue) && isGone(replacement) && !hasLineBreak(replacement) &&
         isOneLineField(role);
}

void TypedTextRepair::repair(std::int32_t pid, const FocusedTextState& before, const std::string& originalText,
                             const std::string& mappedText) {
  const std::string repair = axRepairText(originalText, mappedText);
  if (repair.empty()) return;
  const auto after = focusedTextState(pid, reader_);
  const auto expected = selectedTextReplacementValue(repair, before);
  if (expected && (!after || after->value != *expected)) {
    if (!canRepairSelectedTextMismatchWithAXValue(before.role, repair)) return;
    replaceSelectedText(repair, pid, before);
    return letItSettle();
  }
  if (!after || !canRepairWholeTextReplacementMismatch(before.value, after->value, repair, before.role)) return;
  setTextValue(repair, pid, before);
  letItSettle();
}

bool TypedTextRepair::replaceSelectedText(const std::string& replacement, std::int32_t pid,
                                          const FocusedTextState& state) {
  const auto value = selectedTextReplacementValue(replacement, state);
  return value && write(*value, state.selectedRange.location + text::utf16Length(replacement), pid, state);
}

bool TypedTextRepair::setTextValue(const std::string& text, std::int32_t pid, const FocusedTextState& state) {
  return write(text, text::utf16Length(text), pid, state);
}

bool TypedTextRepair::write(const std::string& value, long caret, std::int32_t pid, const FocusedTextState& state) {
  if (!reader_.isSettable(state.element, AXAttributes::value)) return false;
  AccessibilityPort& port = access_.port();
  if (port.setAttributeValue(state.element, AXAttributes::value, value) != AXError::success) return false;
  port.setAttributeValue(state.element, AXAttributes::selectedTextRange, TextRange{caret, 0});
  const auto written = focusedTextState(pid, reader_);
  return written && written->value == value;
}

void TypedTextRepair::letItSettle() {
  try {
    scheduler_.sleep(settlingTime);
  } catch (const CancellationError&) {
    // What was typed stands; the caller goes on to its answer.
  }
}

}  // namespace tavik
