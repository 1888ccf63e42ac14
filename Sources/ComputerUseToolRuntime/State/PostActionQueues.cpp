#include "ComputerUseToolRuntime/State/PostActionQueues.h"

#include <algorithm>
#include <utility>

namespace tavik {

void PostActionQueues::enqueuePreActionFocusedElement(const std::string& bundleID,
                                                      std::optional<FocusedElementSnapshot> snapshot) {
  MutexLock lock(lock_);
  preActionFocusedElements_[bundleID].push_back(std::move(snapshot));
}

std::optional<FocusedElementSnapshot> PostActionQueues::dequeuePreActionFocusedElement(const std::string& bundleID) {
  MutexLock lock(lock_);
  const auto queued = preActionFocusedElements_.find(bundleID);
  if (queued == preActionFocusedElements_.end()) return std::nullopt;
  auto first = std::move(queued->second.front());
  queued->second.pop_front();
  if (queued->second.empty()) preActionFocusedElements_.erase(queued);
  return first;
}

void PostActionQueues::enqueuePendingMenu(PendingMenuBarPostActionState state) {
  MutexLock lock(lock_);
  pruneExpiredPendingMenusLocked(state.createdAt);
  auto& queued = pendingMenus_[state.bundleIdentifier];
  queued.push_back(std::move(state));
  while (queued.size() > mostPendingMenus) queued.pop_front();
}

std::optional<PendingMenuBarPostActionState> PostActionQueues::dequeuePendingMenu(
    const std::string& bundleID, std::optional<std::int32_t> matchingPID) {
  const MonotonicTime now = scheduler_.now();
  MutexLock lock(lock_);
  pruneExpiredPendingMenusLocked(now);
  const auto queued = pendingMenus_.find(bundleID);
  if (queued == pendingMenus_.end()) return std::nullopt;
  const auto found = std::ranges::find_if(queued->second, [&](const PendingMenuBarPostActionState& state) {
    return !matchingPID || state.pid == *matchingPID;
  });
  if (found == queued->second.end()) return std::nullopt;
  PendingMenuBarPostActionState state = std::move(*found);
  queued->second.erase(found);
  if (queued->second.empty()) pendingMenus_.erase(queued);
  return state;
}

void PostActionQueues::clear() {
  MutexLock lock(lock_);
  preActionFocusedElements_.clear();
  pendingMenus_.clear();
}

std::size_t PostActionQueues::preActionFocusedElementCount(const std::string& bundleID) {
  MutexLock lock(lock_);
  const auto queued = preActionFocusedElements_.find(bundleID);
  return queued == preActionFocusedElements_.end() ? 0 : queued->second.size();
}

void PostActionQueues::pruneExpiredPendingMenusLocked(MonotonicTime now) {
  for (auto& [bundleID, queued] : pendingMenus_) {
    std::erase_if(queued, [&](const auto& state) { return state.createdAt < now - pendingMenuLifetime; });
  }
  std::erase_if(pendingMenus_, [](const auto& entry) { return entry.second.empty(); });
}

}  // namespace tavik
