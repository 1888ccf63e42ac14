#pragma once

#include <filesystem>
#include <optional>
#include <set>
#include <string>

#include "Base/Concurrency/Mutex.h"

namespace tavik {

/// Which applications the user has approved: for this session, in memory, and for
/// good, in a file that other processes may write as well. A file that cannot be
/// read or written is logged and fails nobody. Any thread.
class AppApprovalStore {
 public:
  static constexpr const char* fileName = "ComputerUseAppApprovals.json";

  /// The file is `folder`/Software/`fileName`; folders are made when it is written.
  explicit AppApprovalStore(const std::filesystem::path& applicationSupportFolder);

  bool isApproved(const std::string& bundleIdentifier);
  void approve(const std::string& bundleIdentifier, bool persistent);
  void approvePersistently(const std::string& bundleIdentifier);
  std::set<std::string> allApprovedBundleIdentifiers();

  /// Throws `AppApprovalError` for what no approval can open.
  static void checkSystemProcessDenylist(const std::string& bundleIdentifier);

  const std::filesystem::path& storagePath() const { return storagePath_; }

 private:
  using ModificationDate = std::filesystem::file_time_type;

  void reloadIfModified();
  void loadPersistentApprovals();
  void savePersistentApprovals();

  const std::filesystem::path storagePath_;
  /// Held across the reading of the file, which is small and local.
  Mutex lock_;
  std::set<std::string> sessionApprovedBundleIdentifiers_;
  std::set<std::string> approvedBundleIdentifiers_;
  std::optional<ModificationDate> persistentApprovalsModificationDate_;
};

}  // namespace tavik
