#include "AccessibilitySupport/Focus/ComputerUseUserInteractionMonitor.h"

#include <algorithm>
#include <utility>

namespace tavik {

UserInteractionError UserInteractionError::stillInteracting(const std::string& appName) {
  return UserInteractionError("The user is still interacting with '" + appName + "'. Wait 5 seconds and retry.");
}

UserInteractionError UserInteractionError::appChanged(const std::string& appName) {
  return UserInteractionError("The user changed '" + appName +
                              "'. Re-query the latest state with get_app_state before sending more actions.");
}

void ComputerUseUserInteractionMonitor::startMonitoring(const std::string& appIdentifier, const std::string& appName,
                                                        std::int32_t pid) {
  MutexLock lock(lock_);
  currentAppIdentifier_ = appIdentifier;
  currentAppName_ = appName;
  currentProcessID_ = pid;
}

void ComputerUseUserInteractionMonitor::stopMonitoring() {
  MutexLock lock(lock_);
  currentProcessID_ = 0;
  currentAppIdentifier_.reset();
  currentAppName_.reset();
}

void ComputerUseUserInteractionMonitor::reset() {
  std::map<std::string, Record> dropped;
  {
    MutexLock lock(lock_);
    dropped.swap(interventions_);
    toolActionDepth_ = 0;
    currentAppIdentifier_.reset();
    currentAppName_.reset();
    ignoreEventsUntil_.reset();
  }
  for (const auto& [identifier, record] : dropped) record.cleanup.cancel();
}

void ComputerUseUserInteractionMonitor::beginToolAction(std::int32_t pid) {
  MutexLock lock(lock_);
  if (pid != currentProcessID_) return;
  toolActionProcessID_ = pid;
  ++toolActionDepth_;
}

void ComputerUseUserInteractionMonitor::endToolAction(std::int32_t pid, Duration ignoreEventsFor) {
  const MonotonicTime now = scheduler_.now();
  MutexLock lock(lock_);
  // Another application may have been looked at meanwhile.
  const bool hasBegun = toolActionDepth_ > 0 && pid == toolActionProcessID_;
  if (pid != currentProcessID_ && !hasBegun) return;
  toolActionDepth_ = std::max(toolActionDepth_ - 1, 0);
  ignoreEventsUntil_ = now + std::max(ignoreEventsFor, Duration(0));
}

bool ComputerUseUserInteractionMonitor::isToolGenerated() {
  const MonotonicTime now = scheduler_.now();
  MutexLock lock(lock_);
  return toolActionDepth_ > 0 || (ignoreEventsUntil_ && now < *ignoreEventsUntil_);
}

void ComputerUseUserInteractionMonitor::recordInterruption(const std::string& appIdentifier,
                                                           const std::string& appName) {
  const MonotonicTime expiry = scheduler_.now() + debounceInterval;
  Task replaced;
  std::uint64_t number = 0;
  std::function<void(const std::string&)> onAppInterrupted;
  {
    MutexLock lock(lock_);
    number = ++records_;
    Record& record = interventions_[appIdentifier];
    replaced = std::exchange(record, Record{ActiveInteraction{appName, expiry}, number, Task()}).cleanup;
    onAppInterrupted = onAppInterrupted_;
  }
  replaced.cancel();
  const Task cleanup = tasks_.start("user interaction clean-up", [this, appIdentifier, number] {
    scheduler_.sleep(debounceInterval);
    clearRecord(appIdentifier, number);
  });
  bool isCurrent = false;
  {
    MutexLock lock(lock_);
    const auto found = interventions_.find(appIdentifier);
    isCurrent = found != interventions_.end() && found->second.number == number;
    if (isCurrent) found->second.cleanup = cleanup;
  }
  if (!isCurrent) cleanup.cancel();
  if (onAppInterrupted) onAppInterrupted(appIdentifier);
}

void ComputerUseUserInteractionMonitor::recordAppChanged(const std::string& appIdentifier,
                                                         const std::string& appName) {
  Task replaced;
  {
    MutexLock lock(lock_);
    Record& record = interventions_[appIdentifier];
    replaced = std::exchange(record, Record{StaleState{appName}, ++records_, Task()}).cleanup;
  }
  replaced.cancel();
}

void ComputerUseUserInteractionMonitor::clearIntervention(const std::string& appIdentifier) {
  Task cleanup;
  {
    MutexLock lock(lock_);
    const auto found = interventions_.find(appIdentifier);
    if (found == interventions_.end()) return;
    cleanup = found->second.cleanup;
    interventions_.erase(found);
  }
  cleanup.cancel();
}

/// The clean-up's own end: a record that came later is not its to clear.
void ComputerUseUserInteractionMonitor::clearRecord(const std::string& appIdentifier, std::uint64_t number) {
  MutexLock lock(lock_);
  const auto found = interventions_.find(appIdentifier);
  if (found != interventions_.end() && found->second.number == number) interventions_.erase(found);
}

void ComputerUseUserInteractionMonitor::guardAction(const std::string& appIdentifier) {
  if (!mustWait(appIdentifier)) return;
  try {
    scheduler_.sleep(retryInterval);
  } catch (const CancellationError&) {
    return;
  }
  if (!mustWait(appIdentifier)) return;
  const auto reason = intervention(appIdentifier);
  const auto* interaction = reason ? std::get_if<ActiveInteraction>(&*reason) : nullptr;
  if (interaction) throw UserInteractionError::stillInteracting(interaction->appName);
}

/// Whether the user is interacting just now. Throws when the state is stale.
bool ComputerUseUserInteractionMonitor::mustWait(const std::string& appIdentifier) {
  const auto reason = intervention(appIdentifier);
  if (!reason) return false;
  if (const auto* stale = std::get_if<StaleState>(&*reason)) {
    if (bypassStaleStateCheck()) return false;
    throw UserInteractionError::appChanged(stale->appName);
  }
  return std::get<ActiveInteraction>(*reason).expiry > scheduler_.now();
}

bool ComputerUseUserInteractionMonitor::bypassStaleStateCheck() {
  MutexLock lock(lock_);
  return bypassStaleStateCheck_;
}

void ComputerUseUserInteractionMonitor::setBypassStaleStateCheck(bool bypass) {
  MutexLock lock(lock_);
  bypassStaleStateCheck_ = bypass;
}

std::int32_t ComputerUseUserInteractionMonitor::currentProcessID() {
  MutexLock lock(lock_);
  return currentProcessID_;
}

std::optional<std::string> ComputerUseUserInteractionMonitor::currentAppIdentifier() {
  MutexLock lock(lock_);
  return currentAppIdentifier_;
}

std::optional<std::string> ComputerUseUserInteractionMonitor::currentAppName() {
  MutexLock lock(lock_);
  return currentAppName_;
}

int ComputerUseUserInteractionMonitor::toolActionDepth() {
  MutexLock lock(lock_);
  return toolActionDepth_;
}

void ComputerUseUserInteractionMonitor::setOnAppInterrupted(std::function<void(const std::string&)> callback) {
  MutexLock lock(lock_);
  onAppInterrupted_ = std::move(callback);
}

std::optional<ComputerUseUserInteractionMonitor::InterventionReason> ComputerUseUserInteractionMonitor::intervention(
    const std::string& appIdentifier) {
  MutexLock lock(lock_);
  const auto found = interventions_.find(appIdentifier);
  return found == interventions_.end() ? std::nullopt : std::optional(found->second.reason);
}

}  // namespace tavik
