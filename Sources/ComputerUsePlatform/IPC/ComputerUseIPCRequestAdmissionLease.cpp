#include "ComputerUsePlatform/IPC/ComputerUseIPCRequestAdmissionLease.h"

#include <utility>

#include "ComputerUseContracts/HealthRecords.h"
#include "SlimCore/Logging/TavikComputerUseLogger.h"

namespace tavik {

bool ComputerUseIPCRequestAdmissionLease::store(ComputerUseIPCRequestAdmission admission) {
  MutexLock lock(mutex_);
  if (released_) return false;
  admission_ = admission;
  return true;
}

void ComputerUseIPCRequestAdmissionLease::releaseIfHeld(const std::string& requestType,
                                                        const std::string& reason) {
  std::optional<ComputerUseIPCRequestAdmission> held;
  {
    MutexLock lock(mutex_);
    if (released_) return;
    released_ = true;
    held = std::exchange(admission_, std::nullopt);
  }
  if (!held) return;
  // Health requests are the heartbeat and would flood the log.
  if (requestType != ComputerUseIPCHealthRequest::requestType) {
    TavikComputerUseLogger::debug(LogCategory::ipc, "admission_released",
                                  {{"requestType", requestType}, {"reason", reason}});
  }
  held->release();
}

}  // namespace tavik
