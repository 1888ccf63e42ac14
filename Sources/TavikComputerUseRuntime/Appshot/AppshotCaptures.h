#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "ComputerUseContracts/AppshotRecords.h"

namespace tavik {

/// Hands windows over to the host, as requests drive it. Any thread.
class AppshotCaptures {
 public:
  virtual ~AppshotCaptures() = default;
  virtual ComputerUseIPCAppStartFrontmostCaptureResponse start(
      const ComputerUseIPCAppStartFrontmostCaptureRequest& request) = 0;
  /// Waits for the next update, for some seconds at most.
  virtual ComputerUseIPCAppshotUpdateEnvelope next(const std::string& requestId,
                                                   std::optional<std::int64_t> timeoutMs) = 0;
  virtual void cancel(const std::string& requestId) = 0;
  virtual void cancelAll() = 0;
};

}  // namespace tavik
