#include "TavikComputerUseRuntime/Lifecycle/RuntimeLifetime.h"

#include <utility>

#include "ComputerUseContracts/ComputerUseIPCConstants.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {
constexpr double heartbeatTimeoutSeconds = ComputerUseIPCClientTracker::defaultHeartbeatTimeoutSeconds;
}

RuntimeLifetime::RuntimeLifetime(Scheduler& scheduler, MainQueue& mainQueue, ProcessPort& process,
                                 std::function<void()> terminate)
    : scheduler_(scheduler),
      terminate_(std::move(terminate)),
      clientTracker_(ComputerUseIPCClientTracker::processIsAliveAccordingTo(process)),
      idleTimeout_(mainQueue, seconds(ComputerUseIPCConstants::idleTimeoutSeconds),
                   [this] { idleTimeoutExpired(); }),
      clientHeartbeatTimeout_(mainQueue, seconds(heartbeatTimeoutSeconds),
                              [this] { clientHeartbeatTimeoutExpired(); }) {}

void RuntimeLifetime::recordClientActivity(std::int32_t senderPID, const std::string& requestType) {
  const Snapshot snapshot = clientTracker_.recordActivity(senderPID, requestType, scheduler_.wallTime());
  recordActiveClientSnapshot(senderPID, requestType, snapshot);
  clientHeartbeatTimeout_.restart();
}

int RuntimeLifetime::activeClientCount() const {
  return clientTracker_.snapshot(scheduler_.wallTime(), heartbeatTimeoutSeconds).activeClientCount;
}

void RuntimeLifetime::stop() {
  idleTimeout_.stop();
  clientHeartbeatTimeout_.stop();
}

void RuntimeLifetime::idleTimeoutExpired() {
  requestShutdown("idle_timeout");
}

void RuntimeLifetime::clientHeartbeatTimeoutExpired() {
  const Snapshot snapshot = clientTracker_.pruneStaleClients(scheduler_.wallTime(), heartbeatTimeoutSeconds);
  recordActiveClientSnapshot(std::nullopt, std::nullopt, snapshot);
  if (snapshot.activeClientCount > 0) {
    clientHeartbeatTimeout_.restart();
  } else {
    requestShutdown("no_active_clients");
  }
}

void RuntimeLifetime::recordActiveClientSnapshot(std::optional<std::int32_t> senderPID,
                                                 const std::optional<std::string>& requestType,
                                                 const Snapshot& snapshot) {
  {
    MutexLock lock(clientLogLock_);
    if (lastLoggedActiveClientPIDs_ == snapshot.activeClientPIDs) return;
    lastLoggedActiveClientPIDs_ = snapshot.activeClientPIDs;
  }
  LogFields fields{{"activeClientCount", snapshot.activeClientCount}};
  if (senderPID) fields.emplace("senderPid", *senderPID);
  if (requestType) fields.emplace("requestType", *requestType);
  TavikComputerUseLogger::info(LogCategory::lifecycle, "active_clients_changed", fields);
}

void RuntimeLifetime::requestShutdown(const char* reason) {
  TavikComputerUseLogger::info(LogCategory::lifecycle, "runtime_shutdown_requested", {{"reason", reason}});
  terminate_();
}

}  // namespace tavik
