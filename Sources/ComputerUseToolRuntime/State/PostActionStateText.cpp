#include "ComputerUseToolRuntime/State/PostActionStateText.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string_view>
#include <vector>

#include "Base/Text/Text.h"

namespace tavik::PostActionStateText {

namespace {

constexpr std::string_view focusBeginning = "The focused UI element is";

using Words = std::vector<std::string_view>;

const Words contentRoles = {"web area", "editor",  "text area", "text entry area", "scroll",    "text field",
                            "button",   "check box", "slider",  "table",           "outline",   "list",
                            "row",      "cell",    "image",     "link",            "tab group", "html content"};
const Words textInputRoles = {"text area", "text entry area", "text field", "text input", "combo box"};
const Words editorRoles = {"editor", "text area", "text entry area"};

bool holdsAny(const std::string& line, const Words& words) {
  return std::ranges::any_of(words, [&](std::string_view word) { return text::containsIgnoringCase(line, word); });
}

std::vector<std::string> linesOf(const std::string& content) { return text::split(content, '\n', /*keepEmpty=*/true); }

bool isBelowTree(const std::string& line) { return line.empty(); }

/// Those between the line of the window and what follows the tree.
std::vector<std::string> treeLines(const std::string& content) {
  const auto lines = linesOf(content);
  auto first = std::ranges::find_if(lines, [](const auto& line) { return line.starts_with("Window:"); });
  if (first == lines.end()) {
    first = std::ranges::find_if(lines, [](const auto& line) { return line.starts_with("App="); });
  }
  if (first == lines.end()) return {};
  return {first + 1, std::find_if(first + 1, lines.end(), isBelowTree)};
}

std::ptrdiff_t depthOf(const std::string& line) {
  return std::ranges::find_if(line, [](char c) { return c != '\t'; }) - line.begin();
}

/// Whether the element of a tree line has one of the roles: they stand behind its
/// depth and its number, before its title.
bool hasRole(const std::string& line, const Words& roles) {
  const auto isBeforeRole = [](char c) { return c == '\t' || c == ' ' || (c >= '0' && c <= '9'); };
  const std::string role = text::lowercased(std::string(std::ranges::find_if_not(line, isBeforeRole), line.end()));
  return std::ranges::any_of(roles, [&](std::string_view word) { return role.starts_with(word); });
}

bool hasLineThatBegins(const std::string& content, std::string_view beginning) {
  return std::ranges::any_of(linesOf(content), [&](const auto& line) { return line.starts_with(beginning); });
}

/// What stands behind a label of a tree line, up to the next label.
std::string detail(const std::string& line, const std::string& label) {
  const auto at = line.find(label);
  if (at == std::string::npos) return {};
  std::string rest = line.substr(at + label.size());
  for (const char* next : {", Placeholder: ", ", URL: ", ", Secondary Actions: "}) rest = rest.substr(0, rest.find(next));
  return text::trimmed(rest);
}

}  // namespace

bool shouldRetry(const std::string& content, const ComputerUseIPCAction& after) {
  if (looksLikeMenuBarOnlyWeakState(content)) return true;
  if (after.get<ClickParams>()) {
    return hasEditorSurfaceWithoutModelAnchor(content) || hasDisabledSubmissionBesideWrittenText(content);
  }
  const auto* press = after.get<PressKeyParams>();
  if (!press) return false;
  const bool misses = pressKeyIsExpectedToCreateTextSelection(press->key) && !text::contains(content, "Selected text:");
  return (misses && hasFocusedTextEditingSurface(content)) || hasEditorSurfaceWithoutModelAnchor(content);
}

bool looksLikeMenuBarOnlyWeakState(const std::string& content) {
  if (text::contains(content, "Screenshot capture failed") || !hasLineThatBegins(content, "App=")) return false;
  std::optional<std::ptrdiff_t> depthOfBar;
  bool isInBar = false;
  for (const std::string& line : treeLines(content)) {
    // The titles in a bar are the application's words, and may sound like roles.
    isInBar = isInBar && depthOf(line) > *depthOfBar;
    if (isInBar) continue;
    if (hasRole(line, contentRoles)) return false;
    if (!hasRole(line, {"menu bar"})) continue;
    depthOfBar = depthOf(line);
    isInBar = true;
  }
  return depthOfBar.has_value();
}

bool hasEditorSurfaceWithoutModelAnchor(const std::string& content) {
  const auto lines = linesOf(content);
  const bool hasEditor = std::ranges::any_of(lines, [](const auto& line) { return holdsAny(line, editorRoles); });
  return hasEditor && !hasLineThatBegins(content, "Window:") &&
         !hasLineThatBegins(content, focusBeginning) && !hasLineThatBegins(content, "Selected text:");
}

bool hasDisabledSubmissionBesideWrittenText(const std::string& content) {
  const auto lines = linesOf(content);
  const bool isDisabled = std::ranges::any_of(lines, [](const auto& line) {
    return textContainsSubmissionControl(line) && text::containsIgnoringCase(line, "disabled");
  });
  return isDisabled && std::ranges::any_of(lines, isNonEmptyComposerInputLine);
}

bool hasFocusedTextEditingSurface(const std::string& content) {
  return std::ranges::any_of(linesOf(content), [](const std::string& line) {
    return line.starts_with(focusBeginning) &&
           holdsAny(line.substr(focusBeginning.size()), {"editor", "text area", "text entry area", "text field", "text input"});
  });
}

bool textContainsSubmissionControl(const std::string& line) {
  return text::matches(line, "\\bsend\\b", /*ignoringCase=*/true);
}

bool isNonEmptyComposerInputLine(const std::string& line) {
  // The focused element's own line stands in the tree as well, and without a period.
  if (line.starts_with(focusBeginning) || !holdsAny(line, textInputRoles)) return false;
  const std::string value = detail(line, "Value: ");
  return !value.empty() && value != detail(line, "Placeholder: ") && !isLikelyEmptyComposerPlaceholder(value);
}

bool isLikelyEmptyComposerPlaceholder(const std::string& value) {
  static const Words beginnings = {"message", "type a message", "write a message", "type your message", "write something",
                                   "reply",   "ask anything",   "add a comment",   "start typing"};
  const std::string plain = text::lowercased(text::trimmed(value));
  const bool isShort = text::characterCount(plain) <= 40;
  return plain.empty() || (isShort && std::ranges::any_of(beginnings, [&](std::string_view beginning) {
           return plain.starts_with(beginning);
         }));
}

bool pressKeyIsExpectedToCreateTextSelection(const std::string& key) {
  static const std::set<std::string> commands = {"command", "cmd", "super", "meta"};
  static const std::set<std::string> motions = {"left", "right", "up",     "down",   "home",   "end",
                                                "prior", "next", "pageup", "pagedown", "arrowleft", "arrowright",
                                                "arrowup", "arrowdown", "leftarrow", "rightarrow", "uparrow", "downarrow"};
  std::vector<std::string> parts;
  for (const auto& part : text::split(key, '+', /*keepEmpty=*/false)) {
    parts.push_back(text::replacingAll(text::lowercased(text::trimmed(part)), "_", ""));
  }
  if (parts.size() < 2) return false;
  const auto holds = [&](auto isModifier) { return std::any_of(parts.begin(), parts.end() - 1, isModifier); };
  const bool holdsCommand = holds([&](const std::string& part) { return commands.contains(part); });
  const bool holdsShift = holds([](const std::string& part) { return part == "shift"; });
  return (holdsCommand && parts.back() == "a") || (holdsShift && motions.contains(parts.back()));
}

}  // namespace tavik::PostActionStateText
