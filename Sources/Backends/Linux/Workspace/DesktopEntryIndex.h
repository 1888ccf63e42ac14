#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Backends/Linux/Windows/X11Window.h"
#include "Backends/Linux/Workspace/DesktopEntry.h"

namespace tavik {

/// What is known of a running program that might belong to a desktop entry. Empty
/// where unknown.
struct ProgramTraits {
  std::string gtkApplicationID;
  std::string windowClass;
  std::string windowInstance;
  std::string executablePath;
  /// The words it was started with.
  std::vector<std::string> commandLine;
};

/// The entry that a program belongs to, by what it calls itself first and by the
/// program that the entry starts last; null when none fits. Entries that menus do
/// not show are taken only where no other fits as well.
const DesktopEntry* matchDesktopEntry(const std::vector<DesktopEntry>& entries, const ProgramTraits& traits);

/// What /proc and the program's window, if it has one, tell of a running program.
ProgramTraits traitsOfProgram(std::int32_t pid, const X11Window* window);

/// The installed applications, read again when their folders have changed. Any
/// thread.
class DesktopEntryIndex {
 public:
  /// Folders in the order of precedence: an entry hides those of the same id in
  /// later folders.
  DesktopEntryIndex(std::vector<std::filesystem::path> folders, std::vector<std::string> languages);

  /// The folders and languages of the user's environment.
  static std::vector<std::filesystem::path> applicationFolders();
  static std::vector<std::string> userLanguages();

  /// The desktops whose menus the user sees (`XDG_CURRENT_DESKTOP`).
  static std::vector<std::string> currentDesktops();

  const std::vector<std::filesystem::path>& folders() const { return folders_; }

  /// The entries now, without hidden ones. Shared and unchanging. Looks at the
  /// folders first, unless someone watches them.
  std::shared_ptr<const std::vector<DesktopEntry>> entries();
  /// The entry of this identifier, with or without ".desktop"; of this file.
  std::optional<DesktopEntry> entryOfID(std::string id);
  std::optional<DesktopEntry> entryOfPath(const std::string& path);

  /// Between the two somebody watches the folders and calls `reload` at each change,
  /// so that `entries` need not look.
  void beginWatched();
  void endWatched();
  std::shared_ptr<const std::vector<DesktopEntry>> reload();

 private:
  using FolderTimes = std::vector<std::pair<std::filesystem::path, std::filesystem::file_time_type>>;
  FolderTimes readFolderTimes() const;
  std::vector<DesktopEntry> readEntries() const;

  const std::vector<std::filesystem::path> folders_;
  const std::vector<std::string> languages_;

  std::mutex mutex_;
  bool isWatched_ = false;
  FolderTimes folderTimes_;
  std::shared_ptr<const std::vector<DesktopEntry>> entries_;
};

}  // namespace tavik
