#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "ComputerUseToolRuntime/Actions/FocusedText.h"
#include "ComputerUseToolRuntime/Service/ToolSession.h"

namespace tavik {

/// After a save, compares an editor that draws its own text with its file, so that a
/// surface that saves nothing is not taken for a saved file. What it cannot tell counts
/// as well saved. Any thread.
class SaveVerification {
 public:
  SaveVerification(ToolSession& session, AXWrapper& access, Scheduler& scheduler)
      : session_(session), reader_(access), scheduler_(scheduler) {}

  /// What to tell the model; absent when all is well. Waits up to a second and a half
  /// for the file.
  std::optional<std::string> errorAfterPressingSave(std::int32_t pid);

 private:
  std::optional<std::string> unsavedText(std::int32_t pid, const std::string& path);

  ToolSession& session_;
  const LiveElementReader reader_;
  Scheduler& scheduler_;
};

/// Whether the chord saves: Command and S, on some platforms also Control and S.
bool pressKeyIsSaveShortcut(const std::string& key, bool controlSaves);
/// The path of the file that the focused editor shows, by what the tree says of it.
std::optional<std::string> focusedEditorFilePath(const UIElementTree& tree);
std::optional<std::string> focusedEditorFileName(const UIElementTree::Item& item);
/// The path of a file of that name that one of the item's texts holds, if it is there.
std::optional<std::string> filePathCandidate(const UIElementTree::Item& item, const std::string& lastPathComponent);
/// The text of a plain file of moderate size; absent for any other.
std::optional<std::string> diskTextForSaveVerification(const std::string& path);
/// Whether they are the same save for line ends and white space around them.
bool savedEditorTextMatchesDisk(const std::string& editorValue, const std::string& diskValue);

}  // namespace tavik
