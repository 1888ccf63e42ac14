#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "ComputerUseToolRuntime/Actions/FocusedText.h"

namespace tavik {

/// Puts right, by the accessibility value, what typing could not do in a one-line
/// field. What it cannot put right stays as it was typed. Any thread.
class TypedTextRepair {
 public:
  TypedTextRepair(AXWrapper& access, Scheduler& scheduler) : access_(access), reader_(access), scheduler_(scheduler) {}

  /// `before` is the text before the typing, `mappedText` what the keys gave of
  /// `originalText`.
  void repair(std::int32_t pid, const FocusedTextState& before, const std::string& originalText,
              const std::string& mappedText);

 private:
  bool replaceSelectedText(const std::string& replacement, std::int32_t pid, const FocusedTextState& state);
  bool setTextValue(const std::string& text, std::int32_t pid, const FocusedTextState& state);
  bool write(const std::string& value, long caret, std::int32_t pid, const FocusedTextState& state);
  void letItSettle();

  AXWrapper& access_;
  const LiveElementReader reader_;
  Scheduler& scheduler_;
};

/// What of the text keys can produce.
std::string axRepairText(const std::string& originalText, const std::string& mappedText);
/// The value with its selection replaced; absent without a selection inside it.
std::optional<std::string> selectedTextReplacementValue(const std::string& replacement, const FocusedTextState& state);
bool canRepairSelectedTextMismatchWithAXValue(const std::optional<std::string>& role, const std::string& replacement);
bool canRepairWholeTextReplacementMismatch(const std::string& previousValue, const std::string& afterValue,
                                           const std::string& replacement, const std::optional<std::string>& role);

}  // namespace tavik
