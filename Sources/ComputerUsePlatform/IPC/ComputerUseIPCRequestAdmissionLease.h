#pragma once

#include <optional>
#include <string>

#include "Base/Concurrency/Mutex.h"
#include "ComputerUsePlatform/IPC/ComputerUseIPCRequestLimiter.h"

namespace tavik {

/// Holds the admission of one request on behalf of all who may have to give it
/// back: the request itself, when it ends, and the grace after a time-out. The
/// first of them does. Any thread.
class ComputerUseIPCRequestAdmissionLease {
 public:
  /// False when the lease was released already: the admission then stays with the
  /// caller.
  bool store(ComputerUseIPCRequestAdmission admission);

  /// Gives the admission back and closes the lease; afterwards does nothing.
  void releaseIfHeld(const std::string& requestType, const std::string& reason);

 private:
  Mutex mutex_;
  std::optional<ComputerUseIPCRequestAdmission> admission_;
  bool released_ = false;
};

}  // namespace tavik
