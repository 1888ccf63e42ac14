#include "ComputerUseToolRuntime/Actions/TypeTextAction.h"

#include <algorithm>

#include "AccessibilitySupport/Access/AXAttributes.h"
#include "Base/Text/Text.h"

namespace tavik {

namespace {

constexpr std::uint64_t carefulDelayMs = 40;
/// A longer text comes key by key: applications drop keys from a long burst.
constexpr long longestBurst = 64;
constexpr auto arrivalTime = milliseconds(50);
constexpr const char* spreadsheet = "com.microsoft.excel";

constexpr const char* noLayout = "Cannot type text: keyboard layout lookup failed for input";
constexpr const char* previewIsNotDurable =
    "Typing into a preview editor is not durable. Double-click the file row or otherwise open the editor durably, then "
    "call get_app_state again before using type_text.";

std::string notTyped(const std::vector<std::string>& refused) {
  return "Cannot type '" + text::joined(refused, "', '") +
         "': no key of the keyboard layout gives it and the focused element does not take it otherwise. The rest was "
         "typed. Re-query the latest state with `get_app_state` before sending more actions.";
}

std::string textOf(const std::vector<VirtualKeyPress>& presses) {
  std::string text;
  for (const VirtualKeyPress& press : presses) text += press.string.value_or("");
  return text;
}

}  // namespace

ToolResult TypeTextAction::perform(std::int32_t pid, const TypeTextParams& params) {
  const std::string& text = params.text;
  const auto typing = plan(text);
  if (!typing) return ToolResult::error(noLayout);

  services_.keyboard.prepareTarget(pid);
  auto before = focusedTextState(pid, reader_);
  if (!before) before = focusedTextState(services_.session.currentTree().get());
  if (before && isPreviewEditor(before->roleDescription, reader_.string(before->element, AXAttributes::description))) {
    return ToolResult::error(previewIsNotDurable);
  }
  std::vector<std::string> refused;
  try {
    refused = type(pid, typing->pieces, interKeyDelayMs(pid, text));
  } catch (const KeyboardEventTarget::Error& error) {
    return ToolResult::error(keyboardErrorDescription(error, text));
  }
  try {
    services_.scheduler.sleep(arrivalTime);
  } catch (const CancellationError&) {
    // The text is typed; what follows only looks whether it arrived.
  }
  if (before) repair_.repair(pid, *before, text, typing->mappedText);
  if (!refused.empty() && !nowHolds(pid, refused)) return ToolResult::error(notTyped(refused));
  return ToolResult::text("Action completed successfully.");
}

std::optional<TypeTextAction::Typing> TypeTextAction::plan(const std::string& text) {
  if (services_.keyboard.acceptsTextWithoutKeys()) {
    auto pieces = TypedPiece::pieces(text, services_.keyboard.layouts());
    if (!pieces) return std::nullopt;
    std::string mappedText;
    for (const TypedPiece& piece : *pieces) mappedText += piece.text;
    return Typing{*std::move(pieces), mappedText};
  }
  auto presses = VirtualKeyPress::keyPresses(text, services_.keyboard.layouts());
  if (!presses) return std::nullopt;
  const std::string mappedText = textOf(*presses);
  return Typing{{{"", *std::move(presses)}}, mappedText};
}

std::vector<std::string> TypeTextAction::type(std::int32_t pid, const std::vector<TypedPiece>& pieces,
                                              std::uint64_t interKeyDelayMs) {
  services_.scheduler.checkCancellation();
  std::vector<std::string> refused;
  services_.focusStealPreventer.withSuppression(pid, [&] {
    for (const TypedPiece& piece : pieces) {
      if (piece.presses.empty() && !piece.text.empty()) {
        if (!insertWithoutKeys(pid, piece.text)) refused.push_back(piece.text);
      } else {
        services_.keyboard.target(pid).typeKeyPresses(piece.presses, interKeyDelayMs);
      }
    }
  });
  return refused;
}

/// The keys before it may still be on their way, and overtake it otherwise.
bool TypeTextAction::insertWithoutKeys(std::int32_t pid, const std::string& text) {
  services_.scheduler.sleep(arrivalTime);
  const AXElement focused = typingTarget(pid);
  return focused &&
         services_.access.port().setAttributeValue(focused, "AXSelectedText", text) == AXError::success;
}

/// The repair may have brought in what was refused.
bool TypeTextAction::nowHolds(std::int32_t pid, const std::vector<std::string>& texts) {
  const auto state = focusedTextState(pid, reader_);
  return state && std::ranges::all_of(texts, [&](const std::string& each) { return text::contains(state->value, each); });
}

/// What has the focus; in a window that is not in front, where some applications do
/// not say so, the only text of the last state that can be written.
AXElement TypeTextAction::typingTarget(std::int32_t pid) {
  if (const AXElement focused = reader_.focusedElement(pid)) return focused;
  const auto tree = services_.session.currentTree();
  if (!tree) return {};
  AXElement only;
  for (const auto& item : tree->allItems()) {
    const bool isText = item->role == "AXTextArea" || item->role == "AXTextField" || item->role == "AXComboBox";
    if (!isText || !item->isValueSettable || !item->axElement) continue;
    if (only) return {};
    only = item->axElement;
  }
  return only;
}

std::uint64_t TypeTextAction::interKeyDelayMs(std::int32_t pid, const std::string& text) {
  const bool isLong = text::utf16Length(text) > longestBurst;
  const bool hasLineBreak = text.find_first_of("\n\r") != std::string::npos;
  if (hasLineBreak || isLong) return carefulDelayMs;
  return !text.empty() && isSpreadsheet(pid) ? carefulDelayMs : 0;
}

bool TypeTextAction::isSpreadsheet(std::int32_t pid) {
  const auto application = services_.workspace.runningApplication(pid);
  return application && application->bundleIdentifier &&
         text::lowercased(*application->bundleIdentifier) == spreadsheet;
}

}  // namespace tavik
