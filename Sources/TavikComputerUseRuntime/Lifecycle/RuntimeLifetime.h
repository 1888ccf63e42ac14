#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Base/Concurrency/Mutex.h"
#include "Base/Concurrency/Scheduler.h"
#include "Base/Concurrency/WorkQueue.h"
#include "ComputerUsePlatform/IPC/ComputerUseIPCClientTracker.h"
#include "TavikComputerUseRuntime/Lifecycle/RestartableTimer.h"

namespace tavik {

/// What may keep the process alive although its time is over. Asked on the main queue;
/// each may be empty.
struct ShutdownReservations {
  /// Whether the user may be about to grant a permission.
  std::function<bool(const std::string& trigger)> shouldDeferForPermissionFlow;
  std::function<bool()> isRecording;
};

/// Lets the process live only as long as a client needs it: until no request came
/// for the idle time-out, or no live client was heard of for the heartbeat
/// time-out. Then it calls `terminate` on the main queue. Its own operations may be
/// called from any thread.
class RuntimeLifetime {
 public:
  RuntimeLifetime(Scheduler& scheduler, MainQueue& mainQueue, ProcessPort& process,
                  ShutdownReservations reservations, std::function<void()> terminate);

  /// Begins to count the idle time anew: at start and for each request.
  void scheduleIdleTimeout() { idleTimeout_.restart(); }

  /// Notes that a client is alive, and begins to count the heartbeat time anew.
  void recordClientActivity(std::int32_t senderPID, const std::string& requestType);

  int activeClientCount() const;

  /// Counts no more, whatever requests still come.
  void stop();

 private:
  using Snapshot = ComputerUseIPCClientTrackerSnapshot;
  using IsOvertaken = RestartableTimer::IsOvertaken;

  void idleTimeoutExpired(const IsOvertaken& isOvertaken);
  void clientHeartbeatTimeoutExpired(const IsOvertaken& isOvertaken);
  bool shouldDefer(const std::string& trigger) const;
  void recordActiveClientSnapshot(std::optional<std::int32_t> senderPID,
                                  const std::optional<std::string>& requestType, const Snapshot& snapshot);
  void requestShutdown(const char* reason, const IsOvertaken& isOvertaken);

  Scheduler& scheduler_;
  const ShutdownReservations reservations_;
  const std::function<void()> terminate_;
  ComputerUseIPCClientTracker clientTracker_;
  /// Keep the log free of repeats.
  Mutex clientLogLock_;
  std::vector<std::int32_t> lastLoggedActiveClientPIDs_;
  RestartableTimer idleTimeout_;
  RestartableTimer clientHeartbeatTimeout_;
};

}  // namespace tavik
