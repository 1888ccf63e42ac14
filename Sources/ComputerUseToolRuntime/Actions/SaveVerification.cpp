#include "ComputerUseToolRuntime/Actions/SaveVerification.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <vector>

#include "AccessibilitySupport/Access/AXAttributes.h"
#include "Base/Text/Text.h"

namespace tavik {

namespace {

constexpr std::array waits = {milliseconds(300), milliseconds(300), milliseconds(400), milliseconds(500)};
constexpr std::uintmax_t largestFile = 5'242'880;
constexpr const char* aroundPaths = "\"'()[]{}";

std::string lastPathComponent(const std::string& path) { return std::filesystem::path(path).filename().string(); }

bool isRegularFile(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_regular_file(path, error);
}

std::string withoutQuotes(const std::string& word) {
  const auto first = word.find_first_not_of(aroundPaths);
  if (first == std::string::npos) return {};
  return word.substr(first, word.find_last_not_of(aroundPaths) - first + 1);
}

std::vector<std::string> words(const std::string& text) {
  std::vector<std::string> words(1);
  for (const std::string& character : text::characters(text)) {
    if (text::isBlank(character)) {
      words.emplace_back();
    } else {
      words.back() += character;
    }
  }
  std::erase(words, "");
  return words;
}

std::string comparable(const std::string& text) {
  return text::trimmed(text::replacingAll(text::replacingAll(text, "\r\n", "\n"), "\r", "\n"));
}

bool looksLikeVirtualEditor(const UIElementTree::Item& item) {
  return isVirtualEditor(item.roleDescription, item.elementDescription);
}

}  // namespace

bool pressKeyIsSaveShortcut(const std::string& key, bool controlSaves) {
  std::vector<std::string> parts;
  for (const std::string& part : text::split(key, '+', /*keepEmpty=*/false)) {
    if (std::string plain = text::lowercased(text::trimmed(part)); !plain.empty()) parts.push_back(std::move(plain));
  }
  if (parts.empty() || parts.back() != "s") return false;
  static const std::set<std::string> commandNames = {"cmd", "command", "super", "meta"};
  static const std::set<std::string> controlNames = {"ctrl", "control"};
  const std::set<std::string> modifiers(parts.begin(), parts.end() - 1);
  if (modifiers.size() != 1) return false;
  return commandNames.contains(*modifiers.begin()) || (controlSaves && controlNames.contains(*modifiers.begin()));
}

std::optional<std::string> SaveVerification::errorAfterPressingSave(std::int32_t pid) {
  const auto tree = session_.currentTree();
  const auto path = tree ? focusedEditorFilePath(*tree) : std::nullopt;
  if (!path) return std::nullopt;
  for (const auto wait : waits) {
    try {
      scheduler_.sleep(wait);
    } catch (const CancellationError&) {
      return std::nullopt;
    }
    if (!unsavedText(pid, *path)) return std::nullopt;
  }
  return "Save did not persist the focused editor contents to disk at " + *path +
         ". The visible editor value may belong to a non-durable editor surface. Reopen the file in a durable file "
         "editor tab, retry the edit, and save again before treating the task as complete.";
}

/// The editor's text while it differs from the file's.
std::optional<std::string> SaveVerification::unsavedText(std::int32_t pid, const std::string& path) {
  const auto state = focusedTextState(pid, reader_);
  if (!state) return std::nullopt;
  if (!isVirtualEditor(state->roleDescription, reader_.string(state->element, AXAttributes::description))) {
    return std::nullopt;
  }
  const auto disk = diskTextForSaveVerification(path);
  if (!disk || savedEditorTextMatchesDisk(state->value, *disk)) return std::nullopt;
  return state->value;
}

std::optional<std::string> focusedEditorFilePath(const UIElementTree& tree) {
  const auto item = tree.focusedItem();
  if (!item || !looksLikeVirtualEditor(*item)) return std::nullopt;
  const auto name = focusedEditorFileName(*item);
  if (!name) return std::nullopt;
  for (const auto& other : tree.allItems()) {
    if (auto path = filePathCandidate(*other, *name)) return path;
  }
  return std::nullopt;
}

std::optional<std::string> focusedEditorFileName(const UIElementTree::Item& item) {
  for (const auto& text : {item.title, item.elementDescription, item.value}) {
    if (!text) continue;
    const std::string part = text::trimmed(text->substr(0, text->find(',')));
    if (!text::contains(part, "\n") && text::contains(part, ".")) return lastPathComponent(part);
  }
  return std::nullopt;
}

std::optional<std::string> filePathCandidate(const UIElementTree::Item& item, const std::string& lastPathComponent) {
  for (const auto& text : {item.elementDescription, item.title, item.value}) {
    if (!text) continue;
    for (const std::string& word : words(*text)) {
      const std::string path = withoutQuotes(word);
      if (path.starts_with('/') && tavik::lastPathComponent(path) == lastPathComponent && isRegularFile(path)) {
        return path;
      }
    }
  }
  return std::nullopt;
}

std::optional<std::string> diskTextForSaveVerification(const std::string& path) {
  std::error_code error;
  if (!isRegularFile(path)) return std::nullopt;
  const auto size = std::filesystem::file_size(path, error);
  if (error || size > largestFile) return std::nullopt;
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  std::string content(std::istreambuf_iterator<char>(file), {});
  if (file.bad() || text::repairedUTF8(content) != content) return std::nullopt;
  return content;
}

bool savedEditorTextMatchesDisk(const std::string& editorValue, const std::string& diskValue) {
  return comparable(editorValue) == comparable(diskValue);
}

}  // namespace tavik
