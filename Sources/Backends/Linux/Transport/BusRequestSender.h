#pragma once

#include <chrono>
#include <filesystem>

#include "Backends/Linux/Bus/BusConnection.h"
#include "Backends/Linux/Transport/RuntimeLauncher.h"
#include "PlatformInterfaces/RequestTransportPort.h"

namespace tavik {

/// Sends requests over the session bus, and starts the runtime when it is not
/// there. A request is never sent twice once a runtime may have seen it.
class BusRequestSender : public RequestSenderPort {
 public:
  explicit BusRequestSender(BusConnection& bus,
                            std::filesystem::path runtimeExecutable = RuntimeLauncher::siblingRuntime(),
                            std::chrono::milliseconds startTimeout = std::chrono::seconds(15))
      : bus_(bus), launcher_(bus, std::move(runtimeExecutable)), startTimeout_(startTimeout) {}

  Outcome send(const std::string& requestType, const Bytes& requestData, const std::string& requestID,
               double timeoutSeconds) override;
  bool isRuntimeRunning() override;

 private:
  /// False when it takes too long.
  bool waitUntilNobodyHasTheName();

  BusConnection& bus_;
  RuntimeLauncher launcher_;
  const std::chrono::milliseconds startTimeout_;
};

}  // namespace tavik
