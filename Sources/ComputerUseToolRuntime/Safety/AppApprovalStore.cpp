#include "ComputerUseToolRuntime/Safety/AppApprovalStore.h"

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "Base/Encoding/UUID.h"
#include "Base/JSON/Record.h"
#include "ComputerUseToolRuntime/Safety/AppApprovalError.h"
#include "SlimCore/Identity/BundleIdentifiers.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {

/// What the file holds, in sorted order.
struct PersistentApprovals {
  std::vector<std::string> approvedBundleIdentifiers;

  static constexpr auto fields =
      std::tuple(field("approvedBundleIdentifiers", &PersistentApprovals::approvedBundleIdentifiers));
};

void logFailure(const char* event, const std::exception& error) {
  TavikComputerUseLogger::error(LogCategory::authorization, event, {{"error", error}});
}

}  // namespace

AppApprovalStore::AppApprovalStore(const std::filesystem::path& applicationSupportFolder)
    : storagePath_(applicationSupportFolder / "Software" / fileName) {
  MutexLock lock(lock_);
  reloadIfModified();
}

bool AppApprovalStore::isApproved(const std::string& bundleIdentifier) {
  MutexLock lock(lock_);
  reloadIfModified();
  return sessionApprovedBundleIdentifiers_.contains(bundleIdentifier) ||
         approvedBundleIdentifiers_.contains(bundleIdentifier);
}

void AppApprovalStore::approve(const std::string& bundleIdentifier, bool persistent) {
  if (persistent) return approvePersistently(bundleIdentifier);
  MutexLock lock(lock_);
  sessionApprovedBundleIdentifiers_.insert(bundleIdentifier);
}

void AppApprovalStore::approvePersistently(const std::string& bundleIdentifier) {
  MutexLock lock(lock_);
  // What another process approved meanwhile must not be written over.
  reloadIfModified();
  sessionApprovedBundleIdentifiers_.insert(bundleIdentifier);
  approvedBundleIdentifiers_.insert(bundleIdentifier);
  savePersistentApprovals();
}

std::set<std::string> AppApprovalStore::allApprovedBundleIdentifiers() {
  MutexLock lock(lock_);
  std::set<std::string> all = sessionApprovedBundleIdentifiers_;
  all.insert(approvedBundleIdentifiers_.begin(), approvedBundleIdentifiers_.end());
  return all;
}

void AppApprovalStore::checkSystemProcessDenylist(const std::string& bundleIdentifier) {
  if (!BundleIdentifiers::systemSecurityProcesses().contains(bundleIdentifier)) return;
  throw AppApprovalError::systemSecurityProcess(bundleIdentifier);
}

void AppApprovalStore::reloadIfModified() {
  std::error_code error;
  if (!std::filesystem::exists(storagePath_, error)) {
    approvedBundleIdentifiers_.clear();
    persistentApprovalsModificationDate_.reset();
    return;
  }
  const auto date = std::filesystem::last_write_time(storagePath_, error);
  if (error || date == persistentApprovalsModificationDate_) return;
  loadPersistentApprovals();
  persistentApprovalsModificationDate_ = date;
}

void AppApprovalStore::loadPersistentApprovals() {
  try {
    std::ifstream file(storagePath_, std::ios::binary);
    if (!file) throw std::runtime_error("the file of approvals cannot be opened");
    const Bytes bytes{std::istreambuf_iterator<char>(file), {}};
    const auto approvals = decodeRecord<PersistentApprovals>(bytes);
    approvedBundleIdentifiers_ = {approvals.approvedBundleIdentifiers.begin(),
                                  approvals.approvedBundleIdentifiers.end()};
  } catch (const std::exception& error) {
    logFailure("approval_load_failed", error);
  }
}

void AppApprovalStore::savePersistentApprovals() {
  try {
    std::filesystem::create_directories(storagePath_.parent_path());
    const Bytes bytes =
        encodeRecord(PersistentApprovals{{approvedBundleIdentifiers_.begin(), approvedBundleIdentifiers_.end()}});
    // Whoever reads meanwhile sees the old file or the new one, never half of it.
    const std::filesystem::path draft = storagePath_.string() + "." + UUID::make().string();
    std::ofstream file(draft, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) throw std::runtime_error("the file of approvals cannot be written");
    std::filesystem::rename(draft, storagePath_);
    std::error_code ignored;
    persistentApprovalsModificationDate_ = std::filesystem::last_write_time(storagePath_, ignored);
  } catch (const std::exception& error) {
    logFailure("approval_save_failed", error);
  }
}

}  // namespace tavik
