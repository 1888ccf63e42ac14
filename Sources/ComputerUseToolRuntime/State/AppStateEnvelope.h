#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tavik {

/// What one state says of an application, before it is put into its frame.
struct AppStateDescription {
  std::string treeText;
  std::int32_t pid = 0;
  std::string bundleID;
  std::string appName;
  std::optional<std::string> windowTitle;
  std::optional<std::string> appSpecificInstructions;
  std::optional<std::string> focusedElementDescription;
  std::optional<std::string> selectedText;
  std::optional<std::string> selectedElementsDescription;
};

/// The text that the model reads: identity, window, tree, focus, selection and the
/// notes that belong to them, in a fixed order.
std::string renderAppStateEnvelope(const AppStateDescription& state);

/// The state without header, instructions and the lines that frame it; any other
/// text unchanged.
std::string stripAppStateEnvelope(const std::string& text);

/// The warning about tabs and spaces that a multi-line selection in an editor with
/// space indentation calls for.
std::optional<std::string> editorIndentationModeNote(const std::string& treeText, const std::string& selectedText);

}  // namespace tavik
