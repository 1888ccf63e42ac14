#include "TavikComputerUseRuntime/Lifecycle/RuntimeLifetime.h"

#include <utility>

#include "ComputerUseContracts/ComputerUseIPCConstants.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

namespace {
constexpr double heartbeatTimeoutSeconds = ComputerUseIPCClientTracker::defaultHeartbeatTimeoutSeconds;
}

RuntimeLifetime::RuntimeLifetime(Scheduler& scheduler, MainQueue& mainQueue, ProcessPort& process,
                                 ShutdownReservations reservations, std::function<void()> terminate)
    : scheduler_(scheduler),
      reservations_(std::move(reservations)),
      terminate_(std::move(terminate)),
      clientTracker_(ComputerUseIPCClientTracker::processIsAliveAccordingTo(process)),
      idleTimeout_(mainQueue, seconds(ComputerUseIPCConstants::idleTimeoutSeconds),
                   [this](const IsOvertaken& isOvertaken) { idleTimeoutExpired(isOvertaken); }),
      clientHeartbeatTimeout_(mainQueue, seconds(heartbeatTimeoutSeconds),
                              [this](const IsOvertaken& isOvertaken) { clientHeartbeatTimeoutExpired(isOvertaken); }) {}

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

void RuntimeLifetime::idleTimeoutExpired(const IsOvertaken& isOvertaken) {
  if (shouldDefer("idle_timeout") || (reservations_.isRecording && reservations_.isRecording())) {
    idleTimeout_.restart();
  } else {
    requestShutdown("idle_timeout", isOvertaken);
  }
}

void RuntimeLifetime::clientHeartbeatTimeoutExpired(const IsOvertaken& isOvertaken) {
  const Snapshot snapshot = clientTracker_.pruneStaleClients(scheduler_.wallTime(), heartbeatTimeoutSeconds);
  recordActiveClientSnapshot(std::nullopt, std::nullopt, snapshot);
  if (snapshot.activeClientCount > 0 || shouldDefer("no_active_client")) {
    clientHeartbeatTimeout_.restart();
  } else {
    requestShutdown("no_active_clients", isOvertaken);
  }
}

bool RuntimeLifetime::shouldDefer(const std::string& trigger) const {
  return reservations_.shouldDeferForPermissionFlow && reservations_.shouldDeferForPermissionFlow(trigger);
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

void RuntimeLifetime::requestShutdown(const char* reason, const IsOvertaken& isOvertaken) {
  if (isOvertaken()) return;
  TavikComputerUseLogger::info(LogCategory::lifecycle, "runtime_shutdown_requested", {{"reason", reason}});
  terminate_();
}

}  // namespace tavik
