#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/Time.h"
#include "PlatformInterfaces/ProcessPort.h"

namespace tavik {

/// The clients that were alive at one moment.
struct ComputerUseIPCClientTrackerSnapshot {
  int activeClientCount = 0;
  /// Ascending.
  std::vector<std::int32_t> activeClientPIDs;
  /// Absent when there is no client.
  std::optional<WallTime> mostRecentActivity;
};

/// Remembers which client processes sent a request lately, so that the runtime can
/// end when they are gone. Any thread.
class ComputerUseIPCClientTracker {
 public:
  using Snapshot = ComputerUseIPCClientTrackerSnapshot;
  using ProcessIsAlive = std::function<bool(std::int32_t pid)>;

  /// How often a client says that it lives, and how long one that does not is
  /// believed to.
  static constexpr double defaultHeartbeatIntervalSeconds = 30.0;
  static constexpr double defaultHeartbeatTimeoutSeconds = 90.0;

  explicit ComputerUseIPCClientTracker(ProcessIsAlive processIsAlive);

  /// A process that exists, also one that may not be signalled.
  static ProcessIsAlive processIsAliveAccordingTo(ProcessPort& process);

  /// Notes a request of the client. A process identifier below 1 is nobody's and
  /// changes nothing.
  Snapshot recordActivity(std::int32_t pid, const std::string& requestType, WallTime at);

  /// Forgets the clients whose process is dead or that were silent for longer than
  /// the time-out (in seconds, at least 1).
  Snapshot pruneStaleClients(WallTime at, double heartbeatTimeout);

  /// What `pruneStaleClients` would leave, without forgetting anyone.
  Snapshot snapshot(WallTime at, double heartbeatTimeout) const {
    return pruneInactiveForSnapshot(at, heartbeatTimeout);
  }
  Snapshot pruneInactiveForSnapshot(WallTime at, double heartbeatTimeout) const;

  void reset();

 private:
  struct ClientRecord {
    WallTime lastSeen;
    std::string lastRequestType;
    bool operator==(const ClientRecord&) const = default;
  };
  using Clients = std::map<std::int32_t, ClientRecord>;

  static Snapshot snapshotWithoutPruning(const Clients& clients);
  Clients copyOfClients() const;
  bool isActive(const Clients::value_type& client, WallTime at, double heartbeatTimeout) const;

  const ProcessIsAlive processIsAlive_;
  mutable Mutex mutex_;
  Clients clients_;
};

}  // namespace tavik
