#pragma once

#include "Base/Concurrency/TaskGroup.h"
#include "ComputerUseContracts/EventStreamRecords.h"
#include "HostCoordination/Router/HostCoordinationRouterClient.h"

namespace tavik {

/// Tells the host that a recording has ended, by a new turn in its conversation. Any
/// thread. The client is stopped before this is destroyed, which waits for what is
/// being sent.
class RecordReplayContinuation {
 public:
  RecordReplayContinuation(Scheduler& scheduler, HostCoordinationRouterClient& routerClient)
      : routerClient_(routerClient), tasks_(scheduler) {}

  /// Returns at once; a failure is in the log and not repeated.
  void notifyRecordingEnded(const ComputerUseIPCEventStreamSessionStatus& status);

 private:
  void send(const std::string& conversationID, const std::string& text, const std::string& recordSessionId);

  HostCoordinationRouterClient& routerClient_;
  TaskGroup tasks_;
};

}  // namespace tavik
