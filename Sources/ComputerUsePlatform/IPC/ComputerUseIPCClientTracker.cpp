#include "ComputerUsePlatform/IPC/ComputerUseIPCClientTracker.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace tavik {

ComputerUseIPCClientTracker::ComputerUseIPCClientTracker(ProcessIsAlive processIsAlive)
    : processIsAlive_(std::move(processIsAlive)) {}

ComputerUseIPCClientTracker::ProcessIsAlive ComputerUseIPCClientTracker::processIsAliveAccordingTo(
    ProcessPort& process) {
  return [&process](std::int32_t pid) {
    if (pid < 1) return false;
    const int outcome = process.probe(pid);
    return outcome == 0 || outcome == EPERM;
  };
}

auto ComputerUseIPCClientTracker::recordActivity(std::int32_t pid, const std::string& requestType,
                                                 WallTime at) -> Snapshot {
  MutexLock lock(mutex_);
  if (pid >= 1) clients_.insert_or_assign(pid, ClientRecord{at, requestType});
  return snapshotWithoutPruning(clients_);
}

auto ComputerUseIPCClientTracker::pruneStaleClients(WallTime at, double heartbeatTimeout) -> Snapshot {
  // Processes are asked without the lock; a client that was heard of meanwhile has
  // a new record and stays.
  Clients stale = copyOfClients();
  std::erase_if(stale, [&](const auto& client) { return isActive(client, at, heartbeatTimeout); });

  MutexLock lock(mutex_);
  std::erase_if(clients_, [&](const auto& client) {
    auto found = stale.find(client.first);
    return found != stale.end() && found->second == client.second;
  });
  return snapshotWithoutPruning(clients_);
}

auto ComputerUseIPCClientTracker::pruneInactiveForSnapshot(WallTime at, double heartbeatTimeout) const
    -> Snapshot {
  Clients active = copyOfClients();
  std::erase_if(active, [&](const auto& client) { return !isActive(client, at, heartbeatTimeout); });
  return snapshotWithoutPruning(active);
}

void ComputerUseIPCClientTracker::reset() {
  MutexLock lock(mutex_);
  clients_.clear();
}

bool ComputerUseIPCClientTracker::isActive(const Clients::value_type& client, WallTime at,
                                           double heartbeatTimeout) const {
  const Duration silence = at - client.second.lastSeen;
  return silence <= seconds(std::max(heartbeatTimeout, 1.0)) && processIsAlive_(client.first);
}

auto ComputerUseIPCClientTracker::copyOfClients() const -> Clients {
  MutexLock lock(mutex_);
  return clients_;
}

auto ComputerUseIPCClientTracker::snapshotWithoutPruning(const Clients& clients) -> Snapshot {
  Snapshot snapshot;
  snapshot.activeClientCount = static_cast<int>(clients.size());
  for (const auto& [pid, record] : clients) {
    snapshot.activeClientPIDs.push_back(pid);
    snapshot.mostRecentActivity =
        std::max(snapshot.mostRecentActivity.value_or(record.lastSeen), record.lastSeen);
  }
  return snapshot;
}

}  // namespace tavik
