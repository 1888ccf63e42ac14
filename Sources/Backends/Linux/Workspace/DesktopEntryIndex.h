#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

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

  /// The entries now, without hidden ones. Shared and unchanging.
  std::shared_ptr<const std::vector<DesktopEntry>> entries();

 private:
  using FolderTimes = std::vector<std::pair<std::filesystem::path, std::filesystem::file_time_type>>;
  FolderTimes readFolderTimes() const;
  std::vector<DesktopEntry> readEntries() const;

  const std::vector<std::filesystem::path> folders_;
  const std::vector<std::string> languages_;

  std::mutex mutex_;
  FolderTimes folderTimes_;
  std::shared_ptr<const std::vector<DesktopEntry>> entries_;
};

}  // namespace tavik
