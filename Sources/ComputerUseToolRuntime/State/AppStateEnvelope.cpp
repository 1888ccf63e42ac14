#include "ComputerUseToolRuntime/State/AppStateEnvelope.h"

#include <algorithm>
#include <vector>

#include "Base/Text/Text.h"

namespace tavik {

namespace {

constexpr const char* header = "Computer Use state (CUA App Version: tavik-dev)";
constexpr const char* headerPrefix = "Computer Use state (CUA App Version:";
constexpr const char* instructionsOpening = "<app_specific_instructions>";
constexpr const char* instructionsClosing = "</app_specific_instructions>";
constexpr const char* stateOpening = "<app_state>";
constexpr const char* stateClosing = "</app_state>";

constexpr const char* selectionNote =
    "Note: Pay special attention to the content selected by the user. If the user asks a question or refers to the "
    "content they are looking at on-screen, they might be referring to the selected content (but they might be "
    "referring to something else that's visible, too).";
constexpr const char* previewEditorNote =
    "Note: This is a preview editor. For durable file edits, double-click the file row or keep the editor open before "
    "typing and saving.";
constexpr const char* virtualEditorNote =
    "Note: This editor is not a set_value target in Tavik Computer Use. Use native editor focus, selection, typing, "
    "and editor commands for durable edits.";
constexpr const char* indentedWithSpacesWarning =
    "Warning: The selected editor text is indented with spaces, not tab characters. If the task says exactly one tab "
    "or requires literal tabs, this is not complete; use the editor command to indent with tabs or convert "
    "indentation to tabs before saving.";
constexpr const char* spacesIndentationWarning =
    "Warning: The editor status shows Spaces indentation. If the task says exactly one tab or requires literal tab "
    "characters, pressing Tab may insert spaces and fail the task; use the editor command to indent with tabs or "
    "convert indentation to tabs before saving.";

std::string windowLine(const AppStateDescription& state) {
  const std::string app = "App: " + state.appName + ".";
  if (state.windowTitle && !state.windowTitle->empty()) return "Window: \"" + *state.windowTitle + "\", " + app;
  return "Window: " + app;
}

void appendSelectedText(std::vector<std::string>& lines, const AppStateDescription& state) {
  lines.insert(lines.end(), {"", "Selected text: ```", *state.selectedText, "```"});
  if (auto warning = editorIndentationModeNote(state.treeText, *state.selectedText)) lines.push_back(*warning);
}

void appendFocusedElement(std::vector<std::string>& lines, const std::string& description) {
  lines.insert(lines.end(), {"", "The focused UI element is " + description + "."});
  const std::string lower = text::lowercased(description);
  if (!text::contains(lower, " editor ")) return;
  if (text::contains(lower, "preview")) lines.push_back(previewEditorNote);
  if (text::contains(lower, "editor group")) lines.push_back(virtualEditorNote);
}

std::vector<std::string> linesOf(const std::string& text) { return text::split(text, '\n', true); }

}  // namespace

std::string renderAppStateEnvelope(const AppStateDescription& state) {
  std::vector<std::string> lines = {header};
  if (state.appSpecificInstructions && !state.appSpecificInstructions->empty()) {
    lines.insert(lines.end(), {instructionsOpening, *state.appSpecificInstructions, instructionsClosing});
  }
  lines.push_back(stateOpening);
  lines.push_back("App=" + state.bundleID + " (pid " + std::to_string(state.pid) + ")");
  lines.push_back(windowLine(state));
  lines.push_back(state.treeText);

  const bool hasSelectedText = state.selectedText && !state.selectedText->empty();
  const std::string selectedElements = text::trimmed(state.selectedElementsDescription.value_or(""));
  if (hasSelectedText) {
    appendSelectedText(lines, state);
  } else if (state.focusedElementDescription) {
    appendFocusedElement(lines, *state.focusedElementDescription);
  }
  const bool showsSelectedElements = !hasSelectedText && !selectedElements.empty();
  if (showsSelectedElements) lines.insert(lines.end(), {"", "Selected:", selectedElements});
  if (hasSelectedText || showsSelectedElements) lines.insert(lines.end(), {"", selectionNote});
  lines.push_back(stateClosing);
  return text::joined(lines, "\n");
}

std::optional<std::string> editorIndentationModeNote(const std::string& treeText, const std::string& selectedText) {
  if (!text::contains(selectedText, "\n")) return std::nullopt;
  if (!text::matches(treeText, "\\bSpaces:\\s*\\d+\\b")) return std::nullopt;
  const auto lines = text::split(selectedText, '\n', false);
  const bool indentedWithSpaces =
      std::any_of(lines.begin(), lines.end(), [](const std::string& line) { return line.starts_with(' '); });
  return indentedWithSpaces ? indentedWithSpacesWarning : spacesIndentationWarning;
}

std::string stripAppStateEnvelope(const std::string& text) {
  if (!text.starts_with(headerPrefix)) return text;
  const auto lines = linesOf(text);
  if (lines.size() < 3) return text;
  auto next = lines.begin() + 1;
  if (*next == instructionsOpening) {
    next = std::find(next, lines.end(), instructionsClosing);
    if (next == lines.end()) return text;
    ++next;
  }
  if (next == lines.end() || *next != stateOpening) return text;
  ++next;
  auto end = lines.end();
  if (end != next && *(end - 1) == stateClosing) --end;
  return text::joined({next, end}, "\n");
}

}  // namespace tavik
